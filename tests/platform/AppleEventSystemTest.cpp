#include "AppleEventSystem.h"
#include "Interruption.h"
#include "PrivateBus.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

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
    bool quits = false;
    system.setEventHandler([](const AppleEvent& event, AppleEvent& reply) { reply.parameters = event.parameters; },
        kClass, kEcho);
    system.setEventHandler([](const AppleEvent&, AppleEvent&) { ::sleep(2); }, kClass, kSleep);
    system.setEventHandler([&](const AppleEvent&, AppleEvent&) { ::_exit(0); }, kClass, kQuit);
    if (!system.becomeRunningProcess(kName))
        return 1;
    isReady();
    while (!quits && system.handleEvents(std::chrono::milliseconds(1000))) { }
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

TEST(AppleEventSystem, DescriptorsCrossTheBusAsTheyAre)
{
    const PrivateBus bus;
    ASSERT_TRUE(bus.isRunning());
    const SecondProcess receiver(receive);
    LinuxAppleEventSystem system(kShort);
    const auto running = system.runningBundleIdentifiers();
    EXPECT_NE(std::find(running.begin(), running.end(), kName), running.end());
    const auto pid = system.processID(kName);
    ASSERT_EQ(pid, static_cast<uint32_t>(receiver.pid()));

    AppleEvent event = eventFor(kEcho, *pid);
    NSAppleEventDescriptor list = NSAppleEventDescriptor::listDescriptor();
    list.insertDescriptor(
        NSAppleEventDescriptor::descriptorWithDescriptorType(typeFileURL, std::string("file:///\0\xFF", 10)), 0);
    list.insertDescriptor(NSAppleEventDescriptor::listDescriptor(), 0);
    event.setDescriptor(list, keyDirectObject);
    event.setDescriptor(NSAppleEventDescriptor::descriptorWithBoolean(true), fourCharCode("flag"));
    AppleEvent reply;
    EXPECT_EQ(system.AESend(event, reply), noErr);
    EXPECT_EQ(reply.parameters, event.parameters);
    bool flag = false;
    EXPECT_EQ(AEGetParamPtr(reply, fourCharCode("flag"), flag), noErr);
    EXPECT_TRUE(flag);
    EXPECT_EQ(AEGetParamPtr(reply, keyDirectObject, flag), errAECoercionFail);
    EXPECT_EQ(AEGetParamPtr(reply, fourCharCode("none"), flag), errAEDescNotFound);
}

TEST(AppleEventSystem, FailuresHaveTheClassicNumbers)
{
    const PrivateBus bus;
    const SecondProcess receiver(receive);
    LinuxAppleEventSystem system(kShort);
    const auto pid = system.processID(kName);
    ASSERT_TRUE(pid);
    AppleEvent reply;
    EXPECT_EQ(system.AESend(eventFor(fourCharCode("none"), *pid), reply), errAEEventNotHandled);
    EXPECT_EQ(system.AESend(eventFor(kEcho, 1), reply), procNotFound);
    EXPECT_EQ(system.AESend(eventFor(kSleep, *pid), reply), errAETimeout);
    EXPECT_EQ(LinuxAppleEventSystem().processID("org.example.Nobody"), std::nullopt);
}

TEST(AppleEventSystem, AProgramThatEndsIsNotFound)
{
    const PrivateBus bus;
    SecondProcess receiver(receive);
    LinuxAppleEventSystem system; // with the default time-out, which must not be waited for
    const auto pid = system.processID(kName);
    ASSERT_TRUE(pid);
    AppleEvent reply;
    EXPECT_EQ(system.AESend(eventFor(kQuit, *pid), reply), procNotFound);
    EXPECT_EQ(receiver.wait(), 0);
    EXPECT_EQ(system.AESend(eventFor(kEcho, *pid), reply), procNotFound);
    EXPECT_EQ(system.processID(kName), std::nullopt);
}

TEST(AppleEventSystem, NestsNoDeeperThanAHandOffNeeds)
{
    const PrivateBus bus;
    const SecondProcess receiver(receive);
    LinuxAppleEventSystem system(kShort);
    const auto pid = system.processID(kName);
    NSAppleEventDescriptor nested = NSAppleEventDescriptor::listDescriptor();
    for (int depth = 0; depth < 12; ++depth) {
        NSAppleEventDescriptor outer = NSAppleEventDescriptor::listDescriptor();
        outer.insertDescriptor(nested, 0);
        nested = outer;
    }
    AppleEvent event = eventFor(kEcho, *pid);
    event.setDescriptor(nested, keyDirectObject);
    AppleEvent reply;
    EXPECT_EQ(system.AESend(event, reply), errAEEventNotHandled);
}

TEST(AppleEventSystem, WithoutABusNobodyRuns)
{
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    EXPECT_TRUE(LinuxAppleEventSystem().runningBundleIdentifiers().empty());
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "nonsense", 1);
    EXPECT_TRUE(LinuxAppleEventSystem().runningBundleIdentifiers().empty());
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
    ::setenv("XDG_RUNTIME_DIR", "/nonexistent", 1);
    EXPECT_TRUE(LinuxAppleEventSystem().runningBundleIdentifiers().empty());
}

TEST(AppleEventSystem, ASilentBusIsGivenUpOnce)
{
    const SilentBus bus;
    LinuxAppleEventSystem system({ std::chrono::milliseconds(200), std::chrono::milliseconds(200) });
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 50; ++i)
        EXPECT_TRUE(system.runningBundleIdentifiers().empty());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)); // 50 waits would be 10
}

TEST(AppleEventSystem, ASignalEndsAWait)
{
    const SilentBus bus;
    installInterruptionHandlers();
    LinuxAppleEventSystem system({ std::chrono::milliseconds(60000), std::chrono::milliseconds(60000) });
    const pid_t self = ::getpid();
    const SecondProcess signaller([self](const std::function<void()>& isReady) {
        isReady();
        ::usleep(100000);
        return ::kill(self, SIGTERM);
    });
    EXPECT_THROW(static_cast<void>(system.runningBundleIdentifiers()), Interrupted);
}

} // namespace
