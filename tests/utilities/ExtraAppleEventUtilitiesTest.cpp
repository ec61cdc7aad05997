#include "ExtraAppleEventDescriptorUtilities.h"
#include "ExtraAppleEventManagerUtilities.h"
#include "UtilityStandIns.h"

#include <gtest/gtest.h>

#include <algorithm>

#include <unistd.h>

namespace {

constexpr char kProgram[] = "org.example.Program";
constexpr char kSendName[] = "-[NSAppleEventDescriptor(ExtraAppleEventDescriptorUtilities) send]:1965";

/// One other program, which answers each event with the next of the given errors, and then with the reply.
class ProgramStandIn final : public AppleEventSystem {
public:
    std::vector<std::string> runningBundleIdentifiers() override { return { "org.EXAMPLE.program" }; }
    std::optional<uint32_t> processID(const std::string&) override { return pid; }
    int16_t AESend(const AppleEvent&, AppleEvent&) override { return memFullErr; } // nobody sends without options
    int16_t AESend(const AppleEvent& event, AppleEvent& to, const AESendOptions& how) override
    {
        sent.push_back(event);
        options.push_back(how);
        const int16_t error = sent.size() <= errors.size() ? errors[sent.size() - 1] : int16_t { noErr };
        if (error == noErr)
            to = reply;
        return error;
    }

    void replies(uint32_t type, const std::string& bytes)
    {
        reply.setDescriptor(NSAppleEventDescriptor::descriptorWithDescriptorType(type, bytes), keyDirectObject);
    }

    uint32_t pid = 0x01020304;
    std::vector<int16_t> errors;
    AppleEvent reply;
    std::vector<AppleEvent> sent;
    std::vector<AESendOptions> options;
};

struct SendCase {
    std::vector<int16_t> errors;
    std::size_t tries;
    std::vector<std::string> log;
    std::string raised;
};

TEST(ExtraAppleEventDescriptorUtilities, OnlyAMissingProcessIsTriedAgain)
{
    const SendCase kCases[] = {
        { {}, 1, {}, "" },
        { { -600 }, 2, { "Send try: 5" }, "" },
        { { -600, -600, -600, -600 }, 5, { "Send try: 5", "Send try: 4", "Send try: 3", "Send try: 2" }, "" },
        { { -600, -600, -600, -600, -600, 0 }, 5,
            { "Send try: 5", "Send try: 4", "Send try: 3", "Send try: 2", "Send try: 1" },
            "Can't send AppleEvent. (-600)" },
        { { -1712 }, 1, { "Send try: 5" }, "Can't send AppleEvent. (-1712)" },
        { { -600, -1708 }, 2, { "Send try: 5", "Send try: 4" }, "Can't send AppleEvent. (-1708)" },
    };
    for (const SendCase& c : kCases) {
        SCOPED_TRACE(&c - kCases);
        ProgramStandIn program;
        program.errors = c.errors;
        program.replies(typeMagnitude, "abcd");
        SleeperStandIn sleeper;
        const LogLines log;
        std::optional<NSAppleEventDescriptor> answer;
        const std::string raised
            = raisedBy([&] { answer = ExtraAppleEventDescriptorUtilities::send(AppleEvent(), program, sleeper); });
        EXPECT_EQ(raised, c.raised.empty() ? "" : kSendName + ("|" + c.raised));
        EXPECT_EQ(answer.has_value(), c.raised.empty());
        EXPECT_EQ(program.sent.size(), c.tries);
        EXPECT_EQ(log.lines, c.log);
        EXPECT_EQ(sleeper.slept, std::vector<int64_t>(c.log.size(), 2000000)); // after each failure, the last too
    }
}

TEST(ExtraAppleEventDescriptorUtilities, SendWaitsWithoutInteractionAndAnswersTheDirectParameter)
{
    ProgramStandIn program;
    SleeperStandIn sleeper;
    EXPECT_EQ(ExtraAppleEventDescriptorUtilities::send(AppleEvent(), program, sleeper), std::nullopt);
    EXPECT_EQ(program.options, std::vector({ AESendOptions { 19, 0, -1 } }));
    program.replies(typeBoolean, "\1");
    EXPECT_EQ(ExtraAppleEventDescriptorUtilities::send(AppleEvent(), program, sleeper),
        NSAppleEventDescriptor::descriptorWithBoolean(true));
}

TEST(ExtraAppleEventDescriptorUtilities, AProcessBecomesATarget)
{
    ProgramStandIn program;
    program.pid = 0x0A0B0C0D;
    const LogLines log;
    const NSAppleEventDescriptor target
        = ExtraAppleEventDescriptorUtilities::descriptorForProcess("ORG.example.PROGRAM", program);
    EXPECT_EQ(target.descriptorType(), fourCharCode("psn "));
    EXPECT_EQ(target.data(), std::string("\0\0\0\0\x0A\x0B\x0C\x0D", 8));
    EXPECT_EQ(log.lines, std::vector<std::string>({ "PSN Sender: 0x0 0xa0b0c0d" }));
    const auto askForSelf = [&] {
        program.pid = static_cast<uint32_t>(::getpid());
        ExtraAppleEventDescriptorUtilities::descriptorForProcess(kProgram, program);
    };
    EXPECT_EQ(raisedBy(askForSelf),
        "+[NSAppleEventDescriptor(ExtraAppleEventDescriptorUtilities) descriptorForProcess:]:1921|Can't find process "
        "<org.example.Program>");
}

TEST(ExtraAppleEventDescriptorUtilities, CollectionsTravelArchived)
{
    const NSPropertyList collection { NSPropertyList::Array { { int64_t { 7 } } } };
    const NSAppleEventDescriptor descriptor
        = ExtraAppleEventDescriptorUtilities::descrptorWithArchivedCollection(collection);
    EXPECT_EQ(descriptor.descriptorType(), fourCharCode("Arch"));
    EXPECT_EQ(ExtraAppleEventDescriptorUtilities::unarchivedCollection(descriptor), collection);
}

TEST(ExtraAppleEventManagerUtilities, QuickSendDoesNotWaitNorTryAgain)
{
    ProgramStandIn program;
    program.errors = { 0, -600 };
    EXPECT_EQ(ExtraAppleEventManagerUtilities::quickSend(fourCharCode("quit"), "org.example.None", program), -50);
    EXPECT_TRUE(program.sent.empty());
    EXPECT_EQ(ExtraAppleEventManagerUtilities::quickSend(fourCharCode("quit"), kProgram, program), 0);
    EXPECT_EQ(ExtraAppleEventManagerUtilities::quickSend(fourCharCode("quit"), kProgram, program), -600);
    ASSERT_EQ(program.sent.size(), 2U);
    EXPECT_EQ(program.sent[0].eventClass, fourCharCode("aevt"));
    EXPECT_EQ(program.sent[0].eventID, fourCharCode("quit"));
    EXPECT_EQ(program.sent[0].targetDescriptor.data(), std::string("\0\0\0\0\1\2\3\4", 8));
    EXPECT_EQ(program.options[0], (AESendOptions { 1, 0, -1 }));
}

TEST(ExtraAppleEventManagerUtilities, TheReplysNumberIsReturned)
{
    struct {
        uint32_t type;
        std::string bytes;
        int16_t sendError;
        int16_t error;
        uint32_t value;
    } const kCases[] = {
        { typeMagnitude, "\xFE\1\2\3", 0, 0, 0xFE010203 },
        { typeMagnitude, "\1\2\3", 0, -1700, 99 },
        { typeBoolean, "\1", 0, -1700, 99 },
        { 0, "", 0, -1701, 99 }, // no direct parameter
        { typeMagnitude, "\1\2\3\4", -600, -600, 99 },
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(&c - kCases);
        ProgramStandIn program;
        program.errors = { c.sendError };
        if (c.type != 0)
            program.replies(c.type, c.bytes);
        uint32_t value = 99;
        EXPECT_EQ(ExtraAppleEventManagerUtilities::quickSend(1, kProgram, &value, program), c.error);
        EXPECT_EQ(value, c.value);
        EXPECT_EQ(program.options, std::vector({ AESendOptions { 3, 0, -1 } }));
    }
    ProgramStandIn program;
    uint32_t value = 99;
    EXPECT_EQ(ExtraAppleEventManagerUtilities::quickSend(1, "org.example.None", &value, program), -50);
    EXPECT_EQ(raisedBy([&] { ExtraAppleEventManagerUtilities::quickSend(1, kProgram, nullptr, program); }),
        inconsistency("nil retVal for quickSend.", "quickSend:toProcess:returnValue:", 2011));
}

} // namespace
