#pragma once

#include "CFAbsoluteTime.h"
#include "NSRange.h"
#include "NSWindowController.h"
#include "Sleeper.h"
#include "TextBytes.h"

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>

/// Operations on receivers of any class, the first argument; each does what its receiver can answer. A receiver that
/// can't raises when it is asked, not when it is compiled, as reports are compared by these failures.
///
/// A text answers `length` in UTF-16 code units, and a container of the standard library's kind answers `count` with
/// its `size`.
namespace ExtraContainerUtilities {

// What a receiver answers

template <class T>
concept Text = std::derived_from<T, VLR_String> || std::convertible_to<const T&, std::string_view>;

template <class T>
concept HasLength = Text<T> || requires(const T& receiver)
{
    {
        receiver.length()
        } -> std::integral;
};

template <class T>
concept HasCount = requires(const T& receiver)
{
    {
        receiver.count()
        } -> std::integral;
};

template <class T>
concept HasIntegralSize = requires(const T& receiver)
{
    {
        receiver.size()
        } -> std::integral;
};

template <class T>
concept HasStringValue = requires(const T& receiver)
{
    {
        receiver.stringValue()
        } -> HasLength;
};

template <class T>
concept HasString = requires(const T& receiver)
{
    {
        receiver.string()
        } -> HasLength;
};

template <class T>
concept HasImageSize = requires(const T& receiver)
{
    receiver.size().width == 0;
    receiver.size().height == 0;
};

template <class T>
concept HasNumberOfRows = requires(const T& receiver)
{
    {
        receiver.numberOfRows()
        } -> std::integral;
};

template <class T>
concept HasRangeOfString = requires(const T& receiver, const VLR_String& text, uint32_t options)
{
    {
        receiver.rangeOfStringOptions(text, options)
        } -> std::same_as<NSRange>;
};

template <class T, class Other>
concept HasIsEqual = requires(const T& receiver, const Other& other)
{
    {
        receiver.isEqual(other)
        } -> std::convertible_to<bool>;
};

template <class T, class Other>
concept HasEqualSign = requires(const T& receiver, const Other& other)
{
    {
        receiver == other
        } -> std::convertible_to<bool>;
};

// What stands behind the templates

/// The name of a class for people.
std::string className(const std::type_info& type);

bool textContains(const VLR_String& text, const VLR_String& searched);
NSRange rangeFromStart(int64_t from, std::size_t length);

[[noreturn]] void raiseNeverEmpty(const std::type_info& type);
[[noreturn]] void raiseNoLength(const std::type_info& type);
[[noreturn]] void raiseNoRangeOfString(const std::type_info& type);
[[noreturn]] void raiseNoIsEqual(const std::type_info& type);
[[noreturn]] void raiseNoWindowController(const std::type_info& type);

template <HasLength T>
std::size_t lengthOf(const T& receiver)
{
    if constexpr (Text<T>)
        return textLength(receiver);
    else
        return static_cast<std::size_t>(receiver.length());
}

template <class T>
requires HasCount<T> || HasIntegralSize<T> std::size_t countOf(const T& receiver)
{
    if constexpr (HasCount<T>)
        return static_cast<std::size_t>(receiver.count());
    else
        return static_cast<std::size_t>(receiver.size());
}

// Emptiness

/// The first of length, count, stringValue, string, an image's size, and numberOfRows that the receiver answers
/// decides: it is empty if that is 0, the text is empty, or the image has no width or no height.
/// Raises: NSException "Class ... does not respond to 'length', 'count' or 'size'."
template <class T>
bool isEmpty(const T& receiver)
{
    if constexpr (HasLength<T>)
        return lengthOf(receiver) == 0;
    else if constexpr (HasCount<T> || HasIntegralSize<T>)
        return countOf(receiver) == 0;
    else if constexpr (HasStringValue<T>)
        return lengthOf(receiver.stringValue()) == 0;
    else if constexpr (HasString<T>)
        return lengthOf(receiver.string()) == 0;
    else if constexpr (HasImageSize<T>)
        return receiver.size().width == 0 || receiver.size().height == 0;
    else if constexpr (HasNumberOfRows<T>)
        return receiver.numberOfRows() == 0;
    else
        raiseNeverEmpty(typeid(receiver));
}

template <class T>
bool isNotEmpty(const T& receiver)
{
    return !isEmpty(receiver);
}

// Ranges

/// From 0 over the receiver's length or, if it has none, its count.
template <class T>
requires HasLength<T> || HasCount<T> || HasIntegralSize<T> NSRange wholeRange(const T& receiver)
{
    if constexpr (HasLength<T>)
        return { 0, lengthOf(receiver) };
    else
        return { 0, countOf(receiver) };
}

/// Location 0 and length 1, whatever the receiver holds.
template <class T>
NSRange rangeOfFirstElement(const T&)
{
    return { 0, 1 };
}

/// The last element and length 1. Of an empty receiver the location wraps to the largest number, as callers that ask an
/// empty one get no range that fits.
template <class T>
NSRange rangeOfLastElement(const T& receiver)
{
    return { wholeRange(receiver).length - 1, 1 };
}

/// From a start to the receiver's end. A negative start counts from the end, and before the beginning it is 0.
/// Raises: NSException "from range out of range." for a start past the end; "... does not respond to length ..." for a
/// receiver without it.
template <class T>
NSRange rangeFrom(const T& receiver, int64_t from)
{
    if constexpr (HasLength<T>)
        return rangeFromStart(from, lengthOf(receiver));
    else
        raiseNoLength(typeid(receiver));
}

// Comparison

/// True if the text occurs in the receiver, without regard to case. The empty text never does.
/// Raises: NSException "... does not respond to rangeOfString:options: ..." for a receiver that is no text and doesn't
/// answer rangeOfStringOptions.
template <class T>
bool contains(const T& receiver, const VLR_String& text)
{
    constexpr uint32_t kCaseInsensitiveSearch = 1;
    if constexpr (std::derived_from<T, VLR_String>)
        return textContains(receiver, text);
    else if constexpr (Text<T>)
        return textContains(textWithBytes(receiver), text);
    else if constexpr (HasRangeOfString<T>)
        return receiver.rangeOfStringOptions(text, kCaseInsensitiveSearch).location != NSNotFound;
    else
        raiseNoRangeOfString(typeid(receiver));
}

/// The opposite of the receiver's isEqual, or of its ==; the core's texts compare exactly (canonically equivalent ones
/// are equal).
/// Raises: NSException "... does not respond to isEqual: ..." for a receiver without any.
template <class T, class Other>
bool isNotEqual(const T& receiver, const Other& other)
{
    if constexpr (std::derived_from<T, VLR_String> && std::derived_from<Other, VLR_String>)
        return receiver.Compare(&other) != 0;
    else if constexpr (HasIsEqual<T, Other>)
        return !receiver.isEqual(other);
    else if constexpr (HasEqualSign<T, Other>)
        return !(receiver == other);
    else
        raiseNoIsEqual(typeid(receiver));
}

// Modal loop

/// Everything is borrowed.
struct ModalLoopServices {
    NSApplication& application;
    const CFClock& clock;
    Sleeper& sleeper;
};

/// Asked in each round of a modal loop: true stops it.
using AbortSelector = std::function<bool(NSWindowController&)>;

int64_t runModalLoop(NSWindowController& controller, NSModalSession*& session, const AbortSelector& abortSelector,
    const ModalLoopServices& services);

/// Shows the receiver's window in front of all and runs a modal session for it, until that is answered, the selector
/// (if there is one) says so, or 120 seconds are over; these stop it with code 0. Answers the session's response code.
///
/// The time is fixed: the first argument only receives the session, at the session's start. Ending it is left to the
/// caller, also when the selector raises.
/// Raises: NSException "... is not kind of NSWindowController ..." for any other receiver.
template <class T>
int64_t modalLoopWithTimeout(
    T& receiver, NSModalSession*& session, const AbortSelector& abortSelector, const ModalLoopServices& services)
{
    NSWindowController* controller = nullptr;
    if constexpr (std::derived_from<T, NSWindowController>)
        controller = &receiver;
    else if constexpr (std::is_polymorphic_v<T>)
        controller = dynamic_cast<NSWindowController*>(&receiver);
    if (controller == nullptr)
        raiseNoWindowController(typeid(receiver));
    return runModalLoop(*controller, session, abortSelector, services);
}

template <class T>
int64_t modalLoopWithTimeout(T& receiver, NSModalSession*& session, const ModalLoopServices& services)
{
    return modalLoopWithTimeout(receiver, session, AbortSelector(), services);
}

} // namespace ExtraContainerUtilities
