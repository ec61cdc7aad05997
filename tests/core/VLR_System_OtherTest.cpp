#include "CoreFixture.h"
#include "VLR_OSFile.h"
#include "VLR_RandomPassword.h"
#include "VLR_System.h"

namespace {

class ActionHost : public CoreTest { };

TEST_F(ActionHost, HasFixedAnswers)
{
    VLR_String password = S("untouched");
    VLR_OSFile file;
    EXPECT_EQ(VLR_System::GetPreference(VLRPref_UseKeychainPassword, 5), 0);
    EXPECT_FALSE(VLR_System::KeychainPassword(password, &document));
    EXPECT_FALSE(VLR_System::DialogAskOnePassword(password, &document, true));
    EXPECT_EQ(str(password), "untouched");
    EXPECT_EQ(VLR_System::RandomUInt32(10), 0u);
    EXPECT_EQ(VLR_System::ReadFromOSFile(file), 0);
    EXPECT_TRUE(file.data.IsEmpty());
}

TEST_F(ActionHost, GeneratesTheSameEachTime)
{
    VLR_String password;
    VLR_RandomPassword::GenerateOnePassword(S("#xXpP[x#]{x:2:5}-{#:0:0}Z"), password);
    EXPECT_EQ(str(password), "0aA~~aaa-Z");
    EXPECT_EQ(failure([&] { VLR_RandomPassword::GenerateOnePassword(S("bs"), password); }), "code 5"); // an empty table
    EXPECT_EQ(str(password), "0aA~~aaa-Zb");
}

} // namespace
