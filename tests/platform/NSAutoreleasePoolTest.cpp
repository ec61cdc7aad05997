#include "NSAutoreleasePool.h"
#include "NSException.h"
#include "NSLog.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string gEnds;

class Ending final : public NSAutoreleased {
public:
    Ending(char name, bool raises)
        : name(name)
        , raises(raises)
    {
    }
    void dealloc() override
    {
        gEnds += name;
        if (raises)
            NSException::raise("n", std::string("end of ") + name);
    }

private:
    char name;
    bool raises;
};

void leave(char name, bool raises = false)
{
    NSAutoreleasePool::autorelease(std::make_shared<Ending>(name, raises));
}

TEST(NSAutoreleasePool, EndsAllInOrderAndRaisesTheFirstFailure)
{
    gEnds.clear();
    NSAutoreleasePool pool;
    leave('a');
    leave('b', /*raises=*/true);
    leave('c', /*raises=*/true);
    leave('d');
    try {
        pool.drain();
        FAIL();
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.reason(), "end of b");
    }
    EXPECT_EQ(gEnds, "abcd");
    pool.drain();
    EXPECT_EQ(gEnds, "abcd");
}

class LeavingAnother final : public NSAutoreleased {
public:
    void dealloc() override { leave('z'); }
};

TEST(NSAutoreleasePool, EndsWhatIsLeftToItMeanwhile)
{
    gEnds.clear();
    NSAutoreleasePool pool;
    NSAutoreleasePool::autorelease(std::make_shared<LeavingAnother>());
    leave('a');
    pool.drain();
    EXPECT_EQ(gEnds, "az");
}

TEST(NSAutoreleasePool, InnermostScopeTakesAndItsEndLogsFailures)
{
    gEnds.clear();
    std::string logged;
    const NSLogSink before = setLogSink([&](std::string_view line) { logged += line; });
    {
        NSAutoreleasePool outer;
        leave('o');
        {
            NSAutoreleasePool inner;
            leave('i', /*raises=*/true);
        }
        EXPECT_EQ(gEnds, "i");
        leave('p');
    }
    setLogSink(before);
    EXPECT_EQ(gEnds, "iop");
    EXPECT_EQ(logged, "end of i");
    EXPECT_THROW(leave('x'), std::logic_error);
}

} // namespace
