#pragma once

#include <string>

/// The texts of a modal alert; an empty button is not shown.
struct NSAlert {
    std::string messageText;
    std::string defaultButton;
    std::string alternateButton;
    std::string otherButton;
    std::string informativeText;
};

/// Shows alerts to somebody. A program without a user interface has nobody to show them to.
class NSAlertPresenter {
public:
    virtual ~NSAlertPresenter() = default;

    /// Returns when the alert has been answered.
    virtual void runModal(const NSAlert& alert) = 0;
};
