#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>
#include <vector>

/// What a host hands to an action: a list of texts, a single text, or nothing.
class AMInput {
public:
    AMInput() = default;
    explicit AMInput(std::string text)
        : value_(std::move(text))
    {
    }
    explicit AMInput(std::vector<std::string> list)
        : value_(std::move(list))
    {
    }

    /// The list, or null if the input is none.
    const std::vector<std::string>* list() const { return std::get_if<std::vector<std::string>>(&value_); }

    /// The name of the input's class on the original platform.
    std::string className() const
    {
        static constexpr const char* kNames[] = { "NSNull", "NSString", "NSArray" };
        return kNames[value_.index()];
    }

private:
    std::variant<std::monostate, std::string, std::vector<std::string>> value_;
};

/// Why an action failed, under the keys that its host reads.
struct AMErrorDictionary {
    int32_t number = 0; // OSAScriptErrorNumber
    std::string message; // OSAScriptErrorMessage
};

/// An action that a host runs.
class AMBundleAction {
public:
    virtual ~AMBundleAction() = default;

    /// One run. `fromAction`, the action that calls, may be null. Writes `error` on a failure only.
    virtual std::string runWithInput(const AMInput& input, AMBundleAction* fromAction, AMErrorDictionary& error) = 0;
};
