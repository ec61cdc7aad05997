#pragma once

#include <string>

/// The program's own texts and resources.
class NSBundle {
public:
    static const NSBundle& mainBundle();

    /// The bundle of a program in `programFolder`.
    explicit NSBundle(std::string programFolder);

    /// Puts another bundle in the place of the program's own and returns the one before. For code that runs inside a
    /// program which is not its own, as a test or a plug-in does.
    static NSBundle setMainBundle(NSBundle bundle);

    /// The text for a key in the user's language. There are no translations: the key is the English text.
    std::string localizedStringForKey(const std::string& key) const { return key; }

    /// The absolute path of a resource file: in `resources` beside the program or, for an installed one, in
    /// `share/vellorin` under its prefix. Where the file is in neither, its path in the first.
    std::string pathForResource(const std::string& name, const std::string& type) const;

private:
    static NSBundle& current();

    std::string programFolder_;
};
