#pragma once

#include <string>

class NSAssertionHandler {
public:
    /// Raises the platform exception of a failed assertion, with the description as its reason. `method` is where it
    /// failed, for a debugger.
    [[noreturn]] static void handleFailureInMethod(const std::string& method, const std::string& description);
};
