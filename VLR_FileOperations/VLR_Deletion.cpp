#include "VLR_Deletion.h"

#include "VLR_System.h"

VLR_Deletion::VLR_Deletion(const VLR_String& uuid, uint16_t checksum)
    : uuid(uuid)
    , checksum(checksum)
{
}

int32_t VLR_Deletion::Compare(const VLR_Object* other) const
{
    return VLR_System::CompareStrings(
        uuid, static_cast<const VLR_Deletion*>(other)->uuid, VLR_StringComparisonCaseless);
}

bool VLR_DeletionComparator::IsLessThan(const VLR_Object* a, const VLR_Object* b) const
{
    return a->Compare(b) < 0;
}

bool VLR_DeletionComparator::IsEqual(const VLR_Object* a, const VLR_Object* b) const
{
    return a->Compare(b) == 0;
}
