#include "VLR_Array.h"
#include "CoreFixture.h"
#include "VLR_Comparator.h"

namespace {

int gAlive = 0;

class Item final : public VLR_String {
public:
    explicit Item(const char* text)
        : VLR_String(text, VLR_CharacterSetUTF8)
    {
        ++gAlive;
    }
    ~Item() override { --gAlive; }
};

std::string joined(const VLR_ObjectArray& array)
{
    return str(array.ComponentsJoinedByString(S(",")));
}

VLR_Array<VLR_String> arrayOf(std::initializer_list<const char*> texts)
{
    VLR_Array<VLR_String> array;
    for (const char* text : texts)
        array.AppendObject(new Item(text));
    return array;
}

TEST(VLR_Object, CountsItsHolders)
{
    VLR_Object object;
    EXPECT_EQ(object.ReferenceCount(), 0u);
    EXPECT_EQ(object.Retain(), &object);
    const VLR_Object copy(object);
    EXPECT_EQ(copy.ReferenceCount(), 0u);
    object.Release();
    EXPECT_THROW(object.Release(), VLR_Exception);
    EXPECT_EQ(object.ReferenceCount(), 0u);
    EXPECT_TRUE(object.AsString().IsEmpty());
    EXPECT_THROW(object.Compare(&object), VLR_Exception);
}

TEST(VLR_Array, HoldsAndLetsGo)
{
    {
        VLR_Array<VLR_String> first = arrayOf({ "a", "b" });
        EXPECT_EQ(gAlive, 2);
        VLR_Array<VLR_String> second(first);
        EXPECT_EQ(first.ObjectAtIndex(0)->ReferenceCount(), 2u);
        first.RemoveAll();
        EXPECT_EQ(gAlive, 2);
        second.RemoveObjectAtIndex(0);
        EXPECT_EQ(gAlive, 1);
        second.SetObjectAtIndex(second.ObjectAtIndex(0), 0); // by itself
        second.SetObjectAtIndex(new Item("c"), 0);
        EXPECT_EQ(gAlive, 1);
        EXPECT_EQ(joined(second), "c");
        second = second; // loses its elements
        EXPECT_TRUE(second.IsEmpty());
    }
    EXPECT_EQ(gAlive, 0);
}

TEST(VLR_Array, RangesAreBounded)
{
    VLR_Array<VLR_String> array = arrayOf({ "a", "b", "c" });
    EXPECT_EQ(joined(VLR_ObjectArray(array, 1, 2)), "b,c");
    EXPECT_EQ(joined(VLR_ObjectArray(array, 3, 0)), "");
    VLR_ObjectArray target = arrayOf({ "old" });
    const std::pair<uint32_t, uint32_t> kBeyond[] = { { 0, 4 }, { 2, 2 }, { 4, 0 }, { 1, 0xFFFFFFFF } };
    for (const auto& [start, n] : kBeyond) {
        EXPECT_THROW(target.CopyFrom(array, start, n), VLR_Exception);
        EXPECT_EQ(joined(target), "old");
    }
    target.CopyFrom(array, 0, 0);
    EXPECT_TRUE(target.IsEmpty());
    EXPECT_THROW(array.ObjectAtIndex(3), VLR_Exception);
    EXPECT_THROW(array.RemoveObjectAtIndex(3), VLR_Exception);
    EXPECT_THROW(array.SetObjectAtIndex(array.ObjectAtIndex(0), 3), VLR_Exception);
    EXPECT_EQ(joined(array), "a,b,c");
}

TEST(VLR_Array, RemovesByIdentityTheFirstOccurrence)
{
    VLR_Array<VLR_String> array = arrayOf({ "a", "b", "a", "c" });
    VLR_String* const a = array.ObjectAtIndex(0);
    array.AppendObject(a);
    Item stranger("a");
    array.RemoveObject(&stranger);
    EXPECT_EQ(joined(array), "a,b,a,c,a");
    array.RemoveObject(a);
    EXPECT_EQ(joined(array), "b,a,c,a");
    VLR_Array<VLR_String> removals;
    removals.AppendObject(a);
    removals.AppendObject(array.ObjectAtIndex(2));
    removals.AppendObject(a); // more often than it is there
    array.RemoveObjects(removals);
    EXPECT_EQ(joined(array), "b,a");
    array.AppendObjectsFrom(array);
    EXPECT_EQ(joined(array), "b,a,b,a");
}

TEST(VLR_Array, FindsByComparator)
{
    const VLR_Array<VLR_String> array = arrayOf({ "b", "A", "a", "B" });
    const VLR_String a = S("a"), x = S("x");
    EXPECT_EQ(array.IndexOf(a, VLR_StringComparator()), 2u);
    EXPECT_EQ(array.IndexOf(a, VLR_StringComparatorCaseInsensitive()), 1u);
    EXPECT_EQ(array.IndexOf(x, VLR_StringComparator()), 0xFFFFFFFFu);
    EXPECT_TRUE(array.Contains(a, VLR_StringComparator()));
    EXPECT_FALSE(VLR_Array<VLR_String>().Contains(a, VLR_StringComparator()));
    EXPECT_EQ(joined(array.Find(a, VLR_StringComparatorCaseInsensitive(), /*firstOnly=*/false)), "A,a");
    EXPECT_EQ(joined(array.Find(a, VLR_StringComparatorCaseInsensitive(), /*firstOnly=*/true)), "A");
}

TEST(VLR_Array, SortsStably)
{
    VLR_Array<VLR_String> array = arrayOf({ "b", "A", "a", "B", "c", "a" });
    array.Sort(VLR_StringComparatorCaseInsensitive());
    EXPECT_EQ(joined(array), "A,a,a,b,B,c");
    array.Sort(VLR_StringComparator());
    EXPECT_EQ(joined(array), "A,B,a,a,b,c");
    VLR_Array<VLR_String> empty;
    empty.Sort(VLR_StringComparator());
    EXPECT_EQ(joined(empty), "");
}

} // namespace
