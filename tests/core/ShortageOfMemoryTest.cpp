#include "CoreFixture.h"
#include "ScarceMemory.h"
#include "VLR_RawMemory.h"

#include <cstdlib>
#include <memory>
#include <new>

namespace {

/// The core with room for so many allocations, and what came of it.
class ShortageOfMemory : public CoreTest {
protected:
    ShortageOfMemory()
    {
        setLogSink([](std::string_view) {});
    }

    /// True if `work` got through, false if it failed for want of memory. Fails the test for any other failure.
    static bool worksWith(std::size_t allocations, const std::function<void()>& work)
    {
        const VLR_RawMemory before = VLR_SetRawMemory(
            { [](std::size_t size) { return ScarceMemory::grant() ? std::calloc(1, size) : nullptr; }, std::free });
        bool worked = false;
        bool lackedMemory = false;
        ScarceMemory::left = allocations;
        try {
            work();
            worked = true;
        } catch (const std::bad_alloc&) {
            lackedMemory = true;
        } catch (const VLR_Exception& failure) {
            ScarceMemory::left = SIZE_MAX;
            lackedMemory = failure.IsShortageOfMemory();
        }
        ScarceMemory::left = SIZE_MAX;
        VLR_SetRawMemory(before);
        EXPECT_TRUE(worked || lackedMemory);
        return worked;
    }

    /// Runs `prepare`, `work` with one allocation more each time, and `check`, until the work gets through.
    static void withEachRoom(const std::function<void()>& prepare, const std::function<void()>& work,
        const std::function<void(bool worked)>& check)
    {
        bool worked = false;
        for (std::size_t room = 0; !worked && !HasFailure(); ++room) {
            ASSERT_LT(room, 20000u);
            prepare();
            worked = worksWith(room, work);
            check(worked);
        }
    }
};

TEST_F(ShortageOfMemory, ARecordIsNeverTakenForTheEndOfTheFileOrForDamaged)
{
    for (const std::string title : { "a", "b", "c" })
        add(document, title, title)->SetNotes(S(std::string(100, 'n')));
    VLR_MemoryBlock file;
    document.ToBlock(file);
    for (const auto style : { VLR_DocumentReadDecrypted, VLR_DocumentReadKeepEncrypted }) {
        std::unique_ptr<VLR_Document> reader;
        uint32_t damaged = 1;
        withEachRoom([&] { reader = std::make_unique<VLR_Document>(style), reader->ChangePassword(S("open sesame")); },
            [&] { damaged = reader->FromBlock(file); },
            [&](bool worked) {
                if (!worked)
                    return;
                EXPECT_EQ(damaged, 0u);
                EXPECT_EQ(uuids(*reader), uuids(document));
            });
    }
}

TEST_F(ShortageOfMemory, ASortThatFailsLeavesTheListAsItWas)
{
    VLR_Array<VLR_String> texts;
    withEachRoom(
        [&] {
            texts.RemoveAll();
            for (const char* const text : { "\u00E9z", "\u00E9y", "\u00E9x", "\u00E9w" })
                texts.AppendObject(new VLR_String(S(text)));
        },
        [&] { texts.Sort(VLR_StringComparator()); },
        [&](bool worked) {
            EXPECT_EQ(str(texts.ComponentsJoinedByString(S(" "))),
                worked ? "\u00E9w \u00E9x \u00E9y \u00E9z" : "\u00E9z \u00E9y \u00E9x \u00E9w");
        });
}

TEST_F(ShortageOfMemory, ASortNeedsNone)
{
    VLR_Array<VLR_String> texts;
    VLR_Array<VLR_String> expected;
    for (unsigned int i = 0; i < 300; ++i) { // equal but for the case, so that the order of equals is seen
        const unsigned int key = i * 7919 % 40;
        const std::string text { static_cast<char>((i % 2 == 0 ? 'A' : 'a') + key % 26),
            static_cast<char>('0' + key / 26) };
        texts.AppendObject(new VLR_String(S(text)));
        expected.AppendObject(new VLR_String(S(text)));
    }
    expected.Sort(VLR_StringComparatorCaseInsensitive());
    EXPECT_TRUE(worksWith(0, [&] { texts.Sort(VLR_StringComparatorCaseInsensitive()); }));
    EXPECT_EQ(str(texts.ComponentsJoinedByString(S(" "))), str(expected.ComponentsJoinedByString(S(" "))));
}

TEST_F(ShortageOfMemory, NoRecordIsDroppedByHalf)
{
    std::unique_ptr<VLR_Document> vault;
    withEachRoom(
        [&] {
            vault = std::make_unique<VLR_Document>(VLR_DocumentReadDecrypted);
            vault->ChangePassword(S("open sesame"));
            for (const char* const uuid : { "A", "B", "C" })
                add(*vault, uuid);
        },
        [&] { vault->RemoveDuplicates(); },
        [&](bool worked) {
            EXPECT_EQ(vault->deletionList.Count(), 0u);
            EXPECT_LE(vault->viewableList.Count(), vault->recordList.Count());
            EXPECT_EQ(vault->recordList.Count(), worked ? 1u : 3u);
        });
}

TEST_F(ShortageOfMemory, AnEditChangesTextAndIdentityOrNothing)
{
    VLR_PasswordData* record = nullptr;
    withEachRoom(
        [&] {
            document.ResetDocumentContents();
            record = add(document, "old", "title");
        },
        [&] { record->SetTitle(S("new title")); },
        [&](bool worked) {
            EXPECT_EQ(str(record->Title()), worked ? "new title" : "title");
            EXPECT_EQ(record->Dirty(), worked ? 1 : 0);
            EXPECT_EQ(deletions(document), worked ? "old" : "");
            EXPECT_EQ(str(record->UUID()) == "old", !worked);
        });
}

TEST_F(ShortageOfMemory, ANewRecordIsInBothListsOrInNone)
{
    withEachRoom(
        [&] {
            document.ResetDocumentContents();
            add(document, "A");
        },
        [&] { document.DuplicatePasswordData(document.recordList.ObjectAtIndex(0)); },
        [&](bool worked) {
            EXPECT_EQ(document.recordList.Count(), worked ? 2u : 1u);
            EXPECT_EQ(document.viewableList.Count(), worked ? 2u : 1u);
        });
}

/// A store that is nearly as long as any can be.
class LongStream final : public VLR_Stream {
public:
    uint32_t VirtualLength() const override { return UINT32_MAX - 100; }
    bool VirtualGetBytes(void*, uint32_t, uint32_t) const override { return false; }
    void VirtualAppendBytes(const void*, uint32_t) override { }
};

TEST_F(ShortageOfMemory, WhatNoStoreCanHoldIsRefusedAtOnce)
{
    LongStream stream;
    stream.ExpectBytes(100);
    EXPECT_EQ(failure([&] { stream.ExpectBytes(101); }), "Can't allocate");
    EXPECT_EQ(failure([&] { stream.ExpectBytes(uint64_t { 1 } << 33); }), "Can't allocate");
}

} // namespace
