#include "VLR_ApplicationDelegate.h"
#include "CoreFixture.h"
#include "VLR_ApplicationSettings.h"
#include "VLR_System.h"

#include <cstdlib>
#include <deque>
#include <optional>

namespace {

/// A user with prepared answers, and a program that numbers its records.
class Program final : public VLR_ApplicationDelegate {
public:
    bool askOnePassword(VLR_String& password, const VLR_Document* document, bool prefilled) override
    {
        asked += str(document->UniqueDocumentID()) + ":" + str(password) + (prefilled ? "!" : "") + " ";
        const std::optional<std::string> answer = answers.front();
        answers.pop_front();
        password = S(answer.value_or(""));
        return answer.has_value();
    }
    void makeReferenceConstant(VLR_PasswordData* record) override { record->SetReferenceConstant(new int(++made)); }
    void freeReferenceConstant(VLR_PasswordData* record) noexcept override
    {
        const int* const constant = static_cast<int*>(record->ReferenceConstant());
        freed += std::to_string(*constant) + " ";
        delete constant;
    }

    std::deque<std::optional<std::string>> answers;
    std::string asked;
    int made = 0;
    std::string freed;
};

class MinimalProgram final : public VLR_ApplicationDelegate {
    bool askOnePassword(VLR_String&, const VLR_Document*, bool) override { return false; }
};

class ApplicationDelegate : public CoreTest {
protected:
    ApplicationDelegate()
    {
        ::setenv("XDG_CONFIG_HOME", "/nonexistent", 1);
        ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
        VLR_ApplicationSettings::Load();
        document.uniqueDocumentID = S("ID");
        document.ToBlock(file);
    }
    ~ApplicationDelegate() override { VLR_SetApplicationDelegate(nullptr); }

    std::string open()
    {
        VLR_Document into(VLR_DocumentReadDecrypted);
        VLR_MemoryStream stream(file);
        into.SetStream(&stream);
        return failure([&] { into.ReadVersion4FileContents(VLR_AskPasswordPrompt); });
    }

    VLR_MemoryBlock file;
    Program program;
};

TEST_F(ApplicationDelegate, AsksTheUserWhenADocumentOpens)
{
    EXPECT_EQ(open(), "code 8"); // nobody to ask
    EXPECT_EQ(VLR_SetApplicationDelegate(&program), nullptr);
    program.answers = { "wrong", "open sesame" };
    EXPECT_EQ(open(), "");
    EXPECT_EQ(program.asked, "ID: ID:wrong ");
    program.answers = { std::nullopt };
    EXPECT_EQ(open(), "code 8");
    EXPECT_EQ(VLR_SetApplicationDelegate(nullptr), &program);
    EXPECT_EQ(open(), "code 8");
}

TEST_F(ApplicationDelegate, HasAHandleOnEachRecord)
{
    VLR_SetApplicationDelegate(&program);
    {
        const VLR_PasswordData one(&document);
        const VLR_PasswordData two(&document);
        EXPECT_EQ(*static_cast<int*>(two.ReferenceConstant()), 2);
    }
    EXPECT_EQ(program.freed, "2 1 ");
    MinimalProgram minimal;
    VLR_SetApplicationDelegate(&minimal);
    EXPECT_EQ(VLR_PasswordData(&document).ReferenceConstant(), nullptr);
}

} // namespace
