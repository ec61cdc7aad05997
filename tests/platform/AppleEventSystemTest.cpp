#include "AppleEventSystem.h"
#include "Interruption.h"
#include "PrivateBus.h"

#include <gtest/gtest.h>

#include <dlfcn.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>

struct sd_bus;
struct sd_bus_message;

namespace {

using Clock = std::chrono::steady_clock;

Clock::time_point gBusyUntil; // until then there is always something to do on the bus

} // namespace

/// The library's, but for a busy bus.
extern "C" int sd_bus_process(sd_bus* bus, sd_bus_message** message)
{
    static const auto process
        = reinterpret_cast<int (*)(sd_bus*, sd_bus_message**)>(::dlsym(RTLD_NEXT, "sd_bus_process"));
    return Clock::now() < gBusyUntil ? 1 : process(bus, message);
}

namespace {

constexpr char kName[] = "org.example.EventReceiver";
constexpr uint32_t kClass = fourCharCode("TstC");
constexpr uint32_t kEcho = fourCharCode("Echo");
constexpr uint32_t kSleep = fourCharCode("Slep");
constexpr uint32_t kQuit = fourCharCode("Quit");

constexpr LinuxAppleEventSystem::TimeOuts kShort { std::chrono::milliseconds(2000), std::chrono::milliseconds(300) };

/// A program that answers events until it is told to quit.
int receive(const std::function<void()>& isReady)
{
    LinuxAppleEventSystem system;
    system.setEventHandler(
        [](const AppleEvent& event, AppleEvent& reply) { reply.parameters = event.parameters; }, kClass, kEcho);
    system.setEventHandler([](const AppleEvent&, AppleEvent&) { ::sleep(2); }, kClass, kSleep);
    system.setEventHandler([](const AppleEvent&, AppleEvent&) { ::_exit(0); }, kClass, kQuit);
    if (!system.becomeRunningProcess(kName))
        return 1;
    isReady();
    while (system.handleEvents(std::chrono::milliseconds(1000))) { }
    return 0;
}

AppleEvent eventFor(uint32_t id, uint32_t pid)
{
    AppleEvent event;
    event.eventClass = kClass;
    event.eventID = id;
    event.targetDescriptor = NSAppleEventDescriptor::descriptorWithDescriptorType(
        typeProcessSerialNumber, ProcessSerialNumber { 0, pid }.bytes());
    return event;
}

/// A bus of the test's own with a receiver on it.
class AppleEventSystem : public ::testing::Test {
protected:
    void SetUp() override
    {
        for (LinuxAppleEventSystem* const each : { &system, &patient }) // only whom it was asked for can be sent to
            ASSERT_EQ(each->processID(kName), pid);
    }

    const PrivateBus bus;
    SecondProcess receiver { receive };
    LinuxAppleEventSystem system { kShort };
    LinuxAppleEventSystem patient; // with the default time-out
    const uint32_t pid = static_cast<uint32_t>(receiver.pid());
    AppleEvent reply;
};

TEST_F(AppleEventSystem, DescriptorsCrossTheBusAsTheyAre)
{
    const auto running = system.runningBundleIdentifiers();
    EXPECT_NE(std::find(running.begin(), running.end(), kName), running.end());
    AppleEvent event = eventFor(kEcho, pid);
    NSAppleEventDescriptor list = NSAppleEventDescriptor::listDescriptor();
    list.insertDescriptor(
        NSAppleEventDescriptor::descriptorWithDescriptorType(typeFileURL, std::string("file:///\0\xFF", 10)), 0);
    list.insertDescriptor(NSAppleEventDescriptor::listDescriptor(), 0);
    event.setDescriptor(list, keyDirectObject);
    event.setDescriptor(NSAppleEventDescriptor::descriptorWithBoolean(true), fourCharCode("flag"));
    EXPECT_EQ(system.AESend(event, reply), noErr);
    EXPECT_EQ(reply.parameters, event.parameters);
    bool flag = false;
    EXPECT_EQ(AEGetParamPtr(reply, fourCharCode("flag"), flag), noErr);
    EXPECT_TRUE(flag);
    EXPECT_EQ(AEGetParamPtr(reply, keyDirectObject, flag), errAECoercionFail);
    EXPECT_EQ(AEGetParamPtr(reply, fourCharCode("none"), flag), errAEDescNotFound);
}

TEST_F(AppleEventSystem, FailuresHaveTheClassicNumbers)
{
    EXPECT_EQ(system.AESend(eventFor(fourCharCode("none"), pid), reply), errAEEventNotHandled);
    EXPECT_EQ(system.AESend(eventFor(kEcho, 1), reply), procNotFound);
    EXPECT_EQ(system.AESend(eventFor(kSleep, pid), reply), errAETimeout);
    EXPECT_EQ(LinuxAppleEventSystem().processID("org.example.Nobody"), std::nullopt);
}

TEST_F(AppleEventSystem, OptionsSayHowLongToWait)
{
    const auto before = Clock::now();
    reply.setDescriptor(NSAppleEventDescriptor::descriptorWithBoolean(true), keyDirectObject);
    const AESendOptions noReply { kAENoReply, kAENormalPriority, kAEDefaultTimeout };
    const AESendOptions sixTicks { kAEWaitReply | kAENeverInteract, kAENormalPriority, 6 };
    EXPECT_EQ(patient.AESend(eventFor(kEcho, 1), reply, noReply), procNotFound);
    EXPECT_EQ(patient.AESend(eventFor(kSleep, pid), reply, noReply), noErr);
    EXPECT_EQ(reply.parameters.size(), 1U); // stays as it is
    EXPECT_EQ(patient.AESend(eventFor(kEcho, pid), reply, sixTicks), errAETimeout);
    EXPECT_LT(Clock::now() - before, std::chrono::milliseconds(1500));
    EXPECT_EQ(patient.AESend(eventFor(kQuit, pid), reply, noReply), noErr);
    EXPECT_EQ(receiver.wait(), 0); // the events have got there
}

TEST_F(AppleEventSystem, AProgramThatEndsIsNotFound)
{
    EXPECT_EQ(patient.AESend(eventFor(kQuit, pid), reply), procNotFound); // and the time-out isn't waited for
    EXPECT_EQ(receiver.wait(), 0);
    EXPECT_EQ(patient.AESend(eventFor(kEcho, pid), reply), procNotFound);
    EXPECT_EQ(patient.processID(kName), std::nullopt);
}

NSAppleEventDescriptor listOf(int count)
{
    NSAppleEventDescriptor list = NSAppleEventDescriptor::listDescriptor();
    for (int item = 0; item < count; ++item)
        list.insertDescriptor(NSAppleEventDescriptor::descriptorWithBoolean(true), 0);
    return list;
}

/// Lists in lists, an empty one inmost.
NSAppleEventDescriptor nested(int lists)
{
    NSAppleEventDescriptor list = NSAppleEventDescriptor::listDescriptor();
    for (int depth = 1; depth < lists; ++depth) {
        NSAppleEventDescriptor outer = NSAppleEventDescriptor::listDescriptor();
        outer.insertDescriptor(list, 0);
        list = outer;
    }
    return list;
}

TEST_F(AppleEventSystem, TakesNoMoreThanAHandOffNeeds)
{
    const struct {
        NSAppleEventDescriptor descriptor;
        int16_t result;
    } kCases[] = {
        { nested(8), noErr },
        { nested(9), errAEEventNotHandled },
        { listOf(63), noErr }, // with the list itself, 64
        { listOf(64), errAEEventNotHandled },
    };
    for (const auto& c : kCases) {
        AppleEvent event = eventFor(kEcho, pid);
        event.setDescriptor(c.descriptor, keyDirectObject);
        reply = {};
        EXPECT_EQ(system.AESend(event, reply), c.result) << &c - kCases;
        EXPECT_EQ(reply.parameters.size(), c.result == noErr ? 1u : 0u) << &c - kCases;
    }
    AppleEvent event = eventFor(kEcho, pid); // the parameters count together
    for (const uint32_t keyword : { 1u, 2u })
        event.setDescriptor(listOf(32), keyword);
    EXPECT_EQ(system.AESend(event, reply), errAEEventNotHandled);
}

TEST(SilentEventSystem, WithoutABusNobodyRuns)
{
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    EXPECT_TRUE(LinuxAppleEventSystem().runningBundleIdentifiers().empty());
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "nonsense", 1);
    EXPECT_TRUE(LinuxAppleEventSystem().runningBundleIdentifiers().empty());
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    ::setenv("XDG_RUNTIME_DIR", "/nonexistent", 1);
    EXPECT_TRUE(LinuxAppleEventSystem().runningBundleIdentifiers().empty());
}

TEST(SilentEventSystem, ABusThatNeverStopsTalkingIsGivenUp)
{
    const SilentBus bus;
    const LinuxAppleEventSystem::TimeOuts brief { std::chrono::milliseconds(100), std::chrono::milliseconds(100) };
    LinuxAppleEventSystem asking(brief);
    LinuxAppleEventSystem serving(brief);
    const auto start = Clock::now();
    gBusyUntil = start + std::chrono::seconds(5);
    EXPECT_TRUE(asking.runningBundleIdentifiers().empty());
    EXPECT_TRUE(serving.handleEvents(std::chrono::milliseconds(100)));
    EXPECT_LT(Clock::now(), gBusyUntil);
    gBusyUntil = {};
}

TEST(SilentEventSystem, ASilentBusIsGivenUpOnce)
{
    const SilentBus bus;
    LinuxAppleEventSystem system({ std::chrono::milliseconds(200), std::chrono::milliseconds(200) });
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 50; ++i)
        EXPECT_TRUE(system.runningBundleIdentifiers().empty());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)); // 50 waits would be 10
}

TEST(SilentEventSystem, ASignalEndsAWait)
{
    for (const auto busy : { std::chrono::seconds(0), std::chrono::seconds(5) }) {
        const SilentBus bus;
        SecondProcess waiting([busy](const std::function<void()>& isReady) {
            installInterruptionHandlers();
            LinuxAppleEventSystem system({ std::chrono::seconds(8), std::chrono::seconds(8) });
            gBusyUntil = Clock::now() + busy;
            isReady();
            try {
                static_cast<void>(system.runningBundleIdentifiers());
            } catch (const Interrupted& interruption) {
                return Clock::now() < gBusyUntil || busy.count() == 0 ? interruption.signal() : 0;
            }
            return 0;
        });
        ::usleep(50000); // so that it is in the wait, mostly; a signal before it must do as well
        ::kill(waiting.pid(), SIGTERM);
        EXPECT_EQ(waiting.wait(), SIGTERM) << busy.count();
    }
}

} // namespace
