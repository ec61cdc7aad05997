#include "ExtraContainerUtilities.h"

#include "ExtraApplicationUtilities.h"
#include "UtilityExceptions.h"

#include <cstdlib>
#include <memory>

#include <cxxabi.h>

namespace {

constexpr char kIsEmpty[] = "-[NSObject(ExtraContainerUtilities) isEmpty]";
constexpr int kIsEmptyLine = 134;
constexpr char kRangeFrom[] = "-[NSObject(ExtraContainerUtilities) rangeFrom:]";
constexpr int kNoLengthLine = 175;
constexpr int kFromOutOfRangeLine = 189;
constexpr char kContains[] = "-[NSObject(ExtraContainerUtilities) contains:]";
constexpr int kContainsLine = 197;
constexpr char kModalLoop[] = "-[NSObject(ExtraContainerUtilities) modalLoopWithTimeout:abortSelector:]";
constexpr int kModalLoopLine = 246;
constexpr char kIsNotEqual[] = "-[NSObject(ExtraContainerUtilities) isNotEqual:]";
constexpr int kIsNotEqualLine = 287;

constexpr CFAbsoluteTime kModalLoopTime = 120.0;
constexpr std::chrono::microseconds kModalLoopPause { 1000 };
constexpr int64_t kStopped = 0;

/// "%@ does not respond to %@ (%s)": class, selector, and the operation in which it is missed.
[[noreturn]] void raiseNoResponse(
    const std::type_info& type, const char* selector, const char* operation, const char* method, int line)
{
    raiseInconsistency(
        ExtraContainerUtilities::className(type) + " does not respond to " + selector + " (" + operation + ")", method,
        line);
}

} // namespace

std::string ExtraContainerUtilities::className(const std::type_info& type)
{
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    return name ? name.get() : type.name();
}

bool ExtraContainerUtilities::textContains(const VLR_String& text, const VLR_String& searched)
{
    return text.Contains(searched);
}

NSRange ExtraContainerUtilities::rangeFromStart(int64_t from, std::size_t length)
{
    std::size_t start = static_cast<std::size_t>(from);
    if (from < 0) {
        const std::size_t back = 0 - start; // its magnitude, for the least number too
        start = back < length ? length - back : 0;
    }
    if (length < start)
        raisePlain(kRangeFrom, kFromOutOfRangeLine, "from range out of range.");
    return { start, length - start };
}

void ExtraContainerUtilities::raiseNeverEmpty(const std::type_info& type)
{
    raisePlain(
        kIsEmpty, kIsEmptyLine, "Class " + className(type) + " does not respond to 'length', 'count' or 'size'.");
}

void ExtraContainerUtilities::raiseNoLength(const std::type_info& type)
{
    raiseNoResponse(type, "length", kRangeFrom, "rangeFrom:", kNoLengthLine);
}

void ExtraContainerUtilities::raiseNoRangeOfString(const std::type_info& type)
{
    raiseNoResponse(type, "rangeOfString:options:", kContains, "contains:", kContainsLine);
}

void ExtraContainerUtilities::raiseNoIsEqual(const std::type_info& type)
{
    raiseNoResponse(type, "isEqual:", kIsNotEqual, "isNotEqual:", kIsNotEqualLine);
}

void ExtraContainerUtilities::raiseNoWindowController(const std::type_info& type)
{
    raiseInconsistency(className(type) + " is not kind of NSWindowController (" + kModalLoop + ")",
        "modalLoopWithTimeout:abortSelector:", kModalLoopLine);
}

int64_t ExtraContainerUtilities::runModalLoop(NSWindowController& controller, NSModalSession*& session,
    const AbortSelector& abortSelector, const ModalLoopServices& services)
{
    NSWindow& window = controller.window();
    window.center();
    ExtraApplicationUtilities::bringToFront(services.application);
    const CFAbsoluteTime deadline = services.clock.CFAbsoluteTimeGetCurrent() + kModalLoopTime;
    session = &services.application.beginModalSessionForWindow(window);
    int64_t response = NSRunContinuesResponse;
    while (response == NSRunContinuesResponse) {
        const bool isLate = services.clock.CFAbsoluteTimeGetCurrent() >= deadline;
        if (isLate || (abortSelector && abortSelector(controller)))
            services.application.stopModalWithCode(kStopped);
        response = services.application.runModalSession(*session);
        services.sleeper.sleep(kModalLoopPause); // after the last round too
    }
    return response;
}
