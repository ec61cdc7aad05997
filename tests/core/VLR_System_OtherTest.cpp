#include "CoreFixture.h"
#include "VLR_OSFile.h"
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

} // namespace
