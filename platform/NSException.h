#pragma once

#include <exception>
#include <string>

/// The platform's exception: a name for programs and a reason for people.
class NSException : public std::exception {
public:
    NSException(std::string name, std::string reason);

    const std::string& name() const { return name_; }
    const std::string& reason() const { return reason_; }
    const char* what() const noexcept override { return reason_.c_str(); }

    [[noreturn]] static void raise(const std::string& name, const std::string& reason);

private:
    std::string name_;
    std::string reason_;
};
