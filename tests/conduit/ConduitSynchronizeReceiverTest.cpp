#include "ConduitSynchronizeReceiver.h"
#include "ConduitSynchronizeSender.h"
#include "PrivateBus.h"
#include "StandIns.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

class Application final : public ConduitSynchronizeReceiverDelegate {
public:
    explicit Application(std::optional<bool> answer)
        : answer(answer)
    {
    }

    std::optional<bool> syncStartForFile(const std::optional<NSURL>& file) override
    {
        heard += "start " + (file ? file->path() : "(none)") + "\n";
        return answer;
    }
    void syncStopForFile(const std::optional<NSURL>& file) override
    {
        heard += "stop " + (file ? file->path() : "(none)") + "\n";
    }

    std::optional<bool> answer;
    std::string heard;
};

/// A manager that keeps the handlers for the test to call.
class ManagerStandIn final : public NSAppleEventManager {
public:
    void setEventHandler(AppleEventHandler handler, uint32_t eventClass, uint32_t eventID) override
    {
        handlers[{ eventClass, eventID }] = std::move(handler);
    }

    std::map<std::pair<uint32_t, uint32_t>, AppleEventHandler> handlers;
};

TEST(ConduitSynchronizeReceiver, AnswersByEventAndDelegate)
{
    const struct {
        const char (&id)[5];
        std::optional<bool> delegateAnswer;
        bool reply;
        const char* heard;
    } kCases[] = {
        { "SynA", true, true, "start /a b\n" },
        { "SynA", false, false, "start /a b\n" },
        { "SynA", std::nullopt, false, "start /a b\n" },
        { "SynB", true, false, "stop /a b\n" },
        { "SynC", true, false, "" },
    };
    for (const auto& c : kCases) {
        Application application(c.delegateAnswer);
        ManagerStandIn manager;
        const auto receiver = ConduitSynchronizeReceiver::conduitSynchronizeReceiver(application, manager);
        EXPECT_EQ(manager.handlers.size(), 2u);
        EXPECT_TRUE(manager.handlers.count({ fourCharCode("Sh11"), fourCharCode("SynA") }));
        EXPECT_TRUE(manager.handlers.count({ fourCharCode("Sh11"), fourCharCode("SynB") }));
        AppleEvent event;
        event.eventID = fourCharCode(c.id);
        NSAppleEventDescriptor list = NSAppleEventDescriptor::listDescriptor();
        list.insertDescriptor(NSAppleEventDescriptor::descriptorWithDescriptorType(typeFileURL, "file:///a%20b"), 0);
        event.setDescriptor(list, keyDirectObject);
        AppleEvent reply;
        receiver->receiveSyncAppleEvent(event, reply);
        EXPECT_EQ(application.heard, c.heard);
        EXPECT_EQ(
            *reply.paramDescriptorForKeyword(keyDirectObject), NSAppleEventDescriptor::descriptorWithBoolean(c.reply));
    }
}

TEST(ConduitSynchronizeReceiver, AnEventWithoutAFileReachesTheDelegate)
{
    Application application(true);
    ManagerStandIn manager;
    const auto receiver = ConduitSynchronizeReceiver::conduitSynchronizeReceiver(application, manager);
    AppleEvent event;
    event.eventID = fourCharCode("SynA");
    AppleEvent reply;
    receiver->receiveSyncAppleEvent(event, reply);
    event.setDescriptor(NSAppleEventDescriptor::listDescriptor(), keyDirectObject);
    receiver->receiveSyncAppleEvent(event, reply);
    event.setDescriptor(NSAppleEventDescriptor::descriptorWithBoolean(true), keyDirectObject);
    receiver->receiveSyncAppleEvent(event, reply);
    EXPECT_EQ(application.heard, "start (none)\nstart (none)\nstart (none)\n");
}

class GoOn final : public ConduitSynchronizeSenderDelegate {
public:
    bool startSyncIdling(int64_t) override { return true; }
};

TEST(ConduitSynchronizeReceiver, HearsASenderOverTheBus)
{
    const PrivateBus bus;
    ASSERT_TRUE(bus.isRunning());
    const ScratchFolder folder;
    const std::string file = folder.write("\xC3\xA9 \n.vlr", "x");
    SecondProcess application([&](const std::function<void()>& isReady) {
        Application delegate(true);
        LinuxAppleEventSystem events;
        const auto receiver = ConduitSynchronizeReceiver::conduitSynchronizeReceiver(delegate, events);
        if (!events.becomeRunningProcess("com.tarquen.Vellorin"))
            return 1;
        isReady();
        while (delegate.heard.find("stop") == std::string::npos) {
            if (!events.handleEvents(std::chrono::milliseconds(5000)))
                return 2;
        }
        return delegate.heard == "start " + file + "\nstop " + file + "\n" ? 0 : 3;
    });
    {
        GoOn delegate;
        LinuxAppleEventSystem events;
        LinuxLockSystem locks;
        LinuxFileManager files;
        LinuxClock clock;
        NSAutoreleasePool pool;
        ConduitSynchronizeSender::conduitSynchronizeSenderWithFilePath(
            NSURL::fileURLWithPath(file).urlString(), delegate, { events, locks, files, clock });
        EXPECT_EQ(folder.listing(), ".\xC3\xA9 \n.vlr \xC3\xA9 \n.vlr");
        pool.drain();
    }
    EXPECT_EQ(application.wait(), 0);
    EXPECT_EQ(folder.listing(), "\xC3\xA9 \n.vlr");
}

} // namespace
