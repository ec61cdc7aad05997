#include "VLR_Comparator.h"

#include "VLR_String.h"
#include "VLR_System.h"

namespace {

int32_t CompareCaseless(const VLR_Object* a, const VLR_Object* b)
{
    return VLR_System::CompareStrings(
        *static_cast<const VLR_String*>(a), *static_cast<const VLR_String*>(b), VLR_StringComparisonCaseless);
}

} // namespace

bool VLR_StringComparator::IsLessThan(const VLR_Object* a, const VLR_Object* b) const
{
    return a->Compare(b) < 0;
}

bool VLR_StringComparator::IsEqual(const VLR_Object* a, const VLR_Object* b) const
{
    return a->Compare(b) == 0;
}

bool VLR_StringComparatorCaseInsensitive::IsLessThan(const VLR_Object* a, const VLR_Object* b) const
{
    return CompareCaseless(a, b) < 0;
}

bool VLR_StringComparatorCaseInsensitive::IsEqual(const VLR_Object* a, const VLR_Object* b) const
{
    return CompareCaseless(a, b) == 0;
}
