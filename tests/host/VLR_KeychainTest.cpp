#include "VLR_Keychain.h"
#include "CoreFixture.h"
#include "Interruption.h"
#include "PrivateBus.h"
#include "SecretServiceStandIn.h"
#include "VLR_System.h"

#include <chrono>
#include <cstdlib>

#include <signal.h>
#include <unistd.h>

namespace {

using Mode = SecretServiceStandIn::Mode;

class Keychain : public CoreTest {
protected:
    Keychain()
    {
        document.uniqueDocumentID = S("ID-1");
        closed.uniqueDocumentID = S("ID-2");
    }
    ~Keychain() override { VLR_Keychain::SetTimeOuts({}); }

    static void beImpatient()
    {
        VLR_Keychain::SetTimeOuts({ std::chrono::milliseconds(300), std::chrono::milliseconds(600) });
    }

    /// What the keychain has for a document; "(none)" if it has nothing, and the password then stays as it was.
    static std::string found(VLR_Document* document)
    {
        VLR_String password = S("untouched");
        if (VLR_System::KeychainPassword(password, document))
            return str(password);
        EXPECT_EQ(str(password), "untouched");
        return "(none)";
    }

    static double seconds(const std::function<void()>& work)
    {
        const auto start = std::chrono::steady_clock::now();
        work();
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }
};

TEST_F(Keychain, KeepsOnePasswordForEachIdentity)
{
    const PrivateBus bus;
    const SecretServiceStandIn service(Mode::Open);
    EXPECT_EQ(found(&document), "(none)");
    EXPECT_TRUE(VLR_Keychain::StorePassword(document, S("first"), "label"));
    EXPECT_TRUE(VLR_Keychain::StorePassword(document, S("p\xC3\xA4ss"), "no UTF-8: \xFF"));
    EXPECT_TRUE(VLR_Keychain::StorePassword(closed, S(std::string("\xFF\0z", 3)), ""));
    EXPECT_EQ(found(&document), "p\xC3\xA4ss"); // in place of the first
    EXPECT_EQ(found(&closed), std::string("\xFF\0z", 3));

    EXPECT_TRUE(VLR_Keychain::ForgetPassword(document));
    EXPECT_FALSE(VLR_Keychain::ForgetPassword(document));
    EXPECT_EQ(found(&document), "(none)");
    EXPECT_EQ(found(&closed), std::string("\xFF\0z", 3));
    EXPECT_TRUE(VLR_Keychain::StorePassword(closed, VLR_String(), ""));
    EXPECT_EQ(found(&closed), "");
}

TEST_F(Keychain, NeedsAnIdentity)
{
    const PrivateBus bus;
    const SecretServiceStandIn service(Mode::Open);
    EXPECT_EQ(found(nullptr), "(none)");
    const std::string kUnfit[] = { "", "\xFF", std::string("a\0b", 3), std::string(257, 'x') };
    for (const std::string& identity : kUnfit) {
        document.uniqueDocumentID = S(identity);
        EXPECT_FALSE(VLR_Keychain::StorePassword(document, S("secret"), ""));
        EXPECT_EQ(found(&document), "(none)");
        EXPECT_FALSE(VLR_Keychain::ForgetPassword(document));
    }
}

TEST_F(Keychain, ALockedKeychainIsLeftLocked)
{
    const PrivateBus bus;
    const SecretServiceStandIn service(Mode::Locked);
    EXPECT_TRUE(VLR_Keychain::StorePassword(document, S("secret"), ""));
    for (int look = 0; look < 2; ++look) // the first one has not had it unlocked
        EXPECT_EQ(found(&document), "(none)");
}

TEST_F(Keychain, WaitsNoLongerThanTold)
{
    const PrivateBus bus;
    {
        const SecretServiceStandIn service(Mode::Silent);
        beImpatient();
        EXPECT_LT(seconds([&] { EXPECT_EQ(found(&document), "(none)"); }), 3.0);
        EXPECT_LT(seconds([&] { EXPECT_FALSE(VLR_Keychain::StorePassword(document, S("secret"), "")); }), 3.0);
        EXPECT_LT(seconds([&] { EXPECT_FALSE(VLR_Keychain::ForgetPassword(document)); }), 3.0);
    }
    const SecretServiceStandIn service(Mode::SilentOnSecrets);
    VLR_Keychain::SetTimeOuts({});
    EXPECT_TRUE(VLR_Keychain::StorePassword(document, S("secret"), ""));
    beImpatient();
    EXPECT_LT(seconds([&] { EXPECT_EQ(found(&document), "(none)"); }), 3.0);
}

TEST_F(Keychain, ASilentBusIsGivenUp)
{
    const SilentBus bus;
    beImpatient();
    EXPECT_LT(seconds([&] { EXPECT_EQ(found(&document), "(none)"); }), 3.0);
}

TEST_F(Keychain, ASignalEndsAWait)
{
    const PrivateBus bus;
    const SecretServiceStandIn service(Mode::Silent);
    VLR_Keychain::SetTimeOuts({ std::chrono::minutes(1), std::chrono::minutes(1) });
    installInterruptionHandlers();
    const SecondProcess signaller([self = ::getpid()](const std::function<void()>& isReady) {
        isReady();
        ::usleep(200000);
        return ::kill(self, SIGTERM);
    });
    EXPECT_LT(seconds([&] { EXPECT_EQ(found(&document), "(none)"); }), 10.0);
    EXPECT_THROW(throwIfInterrupted(), Interrupted); // the signal is the program's to answer
    static const StForgetInterruptions forOtherTests;
}

TEST_F(Keychain, WithoutAServiceItHasNothing)
{
    const std::string kAddresses[] = { "", "nonsense", "unix:path=/nonexistent" };
    for (const std::string& address : kAddresses) {
        const PrivateBus bus; // where the address is empty: a bus without the service
        if (!address.empty())
            ::setenv("DBUS_SESSION_BUS_ADDRESS", address.c_str(), 1);
        EXPECT_EQ(found(&document), "(none)") << address;
        EXPECT_FALSE(VLR_Keychain::StorePassword(document, S("secret"), "")) << address;
        EXPECT_FALSE(VLR_Keychain::ForgetPassword(document)) << address;
    }
}

TEST_F(Keychain, LooksForTheBusAnew)
{
    for (int round = 0; round < 2; ++round) {
        const PrivateBus bus;
        const SecretServiceStandIn service(Mode::Open);
        EXPECT_TRUE(VLR_Keychain::StorePassword(document, S("secret"), ""));
        EXPECT_EQ(found(&document), "secret");
    }
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    EXPECT_EQ(found(&document), "(none)");
}

} // namespace
