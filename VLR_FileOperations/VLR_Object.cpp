#include "VLR_Object.h"

#include "VLR_Exception.h"
#include "VLR_String.h"

VLR_String VLR_Object::AsString() const
{
    return VLR_String();
}

int32_t VLR_Object::Compare(const VLR_Object*) const
{
    VLR_RAISE(kUnimplementedVirtual);
}

VLR_Object* VLR_Object::Retain()
{
    ++referenceCount;
    return this;
}

void VLR_Object::Release()
{
    if (referenceCount == 0)
        VLR_RAISE(kReferenceCountCorrupted);
    --referenceCount;
}
