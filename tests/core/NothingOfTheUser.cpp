#include <gtest/gtest.h>

#include <cstdlib>

namespace {

/// Before the first test: whoever runs the tests has settings and a bus, but a host that looks for them finds none.
class NothingOfTheUser final : public ::testing::Environment {
    void SetUp() override
    {
        ::setenv("XDG_CONFIG_HOME", "/nonexistent", 1);
        ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    }
};

const ::testing::Environment* const kEnvironment = ::testing::AddGlobalTestEnvironment(new NothingOfTheUser);

} // namespace
