#include "DocumentLock.h"
#include "StandIns.h"

#include <gtest/gtest.h>

namespace {

constexpr bool kRemember = true;
constexpr bool kForget = false;

class DocumentLocks : public ::testing::Test {
protected:
    LockSystemStandIn system;
    const std::string file = "/folder/a.file";
};

TEST_F(DocumentLocks, LockStandsBesideTheDocumentUnderAHiddenName)
{
    const struct {
        DocumentLock::Path document;
        DocumentLock::Path lock;
    } kCases[] = {
        { "/folder/a.file", "/folder/.a.file" },
        { "a", ".a" },
        { "/a", "/.a" },
        { "/folder/a/", "/folder/.a" },
        { "/folder//a", "/folder/.a" },
        { "", "." },
        { std::nullopt, std::nullopt },
    };
    for (const auto& c : kCases)
        EXPECT_EQ(DocumentLock::lockPath(c.document), c.lock);
}

TEST_F(DocumentLocks, ASecondGrabOfTheSameObjectSucceedsAndKeepsOneEntry)
{
    DocumentLock lock(system);
    EXPECT_TRUE(lock.grabWriteLockForFile(file));
    EXPECT_TRUE(lock.grabWriteLockForFile(file));
    EXPECT_EQ(lock.findWriteLockForDocument(file)->path, "/folder/.a.file");
    lock.unlockWriteLockForDocument(file);
    EXPECT_EQ(lock.findWriteLockForDocument(file), nullptr);
    EXPECT_TRUE(system.locks.empty());
}

TEST_F(DocumentLocks, ARememberedFailureSticksForTheObjectsLife)
{
    auto holder = std::make_unique<DocumentLock>(system);
    DocumentLock remembering(system);
    DocumentLock forgetting(system);
    EXPECT_TRUE(holder->grabWriteLockForFile(file, kForget));
    EXPECT_FALSE(remembering.grabWriteLockForFile(file));
    EXPECT_FALSE(forgetting.grabWriteLockForFile(file, kForget));
    forgetting.unlockWriteLockForDocument(file); // not its own
    EXPECT_EQ(system.locks.size(), 1u);
    holder.reset();
    EXPECT_TRUE(system.locks.empty());
    system.asked.clear();
    EXPECT_FALSE(remembering.grabWriteLockForFile(file, kRemember));
    EXPECT_EQ(system.asked, "");
    EXPECT_TRUE(forgetting.grabWriteLockForFile(file, kForget));
}

TEST_F(DocumentLocks, AnOverriddenFileCountsAsLockedAndHasNoLock)
{
    DocumentLock holder(system);
    DocumentLock lock(system);
    EXPECT_TRUE(holder.grabWriteLockForFile(file));
    lock.overrideWriteLockForDocument(file);
    EXPECT_TRUE(system.locks.empty());
    EXPECT_TRUE(lock.grabWriteLockForFile(file));
    EXPECT_TRUE(system.locks.empty());
    system.locks.insert("/folder/.a.file"); // another program's, unnoticed
    EXPECT_TRUE(lock.grabWriteLockForFile(file));
    lock.unlockAllWriteLocks();
    EXPECT_EQ(system.locks.size(), 1u);
}

TEST_F(DocumentLocks, AnAbsentPathIsLegalEverywhere)
{
    DocumentLock lock(system);
    EXPECT_TRUE(lock.grabWriteLockForFile(std::nullopt));
    EXPECT_EQ(lock.findWriteLockForDocument(std::nullopt), nullptr);
    lock.unlockWriteLockForDocument(std::nullopt);
    lock.overrideWriteLockForDocument(std::nullopt);
    EXPECT_EQ(system.asked, "");
}

TEST_F(DocumentLocks, LaterSystemsHaveNoLocks)
{
    for (const uint32_t version : { 0x100700u, 0x110000u }) {
        system.version = version;
        DocumentLock lock(system);
        system.locks.insert("/folder/.a.file");
        EXPECT_TRUE(lock.grabWriteLockForFile(file));
        lock.unlockAllWriteLocks();
        EXPECT_EQ(system.asked, "");
    }
}

TEST_F(DocumentLocks, AllHeldLocksGoInTheirOrder)
{
    {
        DocumentLock lock(system);
        EXPECT_TRUE(lock.grabWriteLockForFile("/b"));
        EXPECT_TRUE(lock.grabWriteLockForFile("/a"));
        system.asked.clear();
    }
    EXPECT_EQ(system.asked, "unlock /.b; unlock /.a; ");
}

} // namespace
