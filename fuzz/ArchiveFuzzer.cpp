#include "FuzzInput.h"
#include "NSArchiver.h"
#include "NSException.h"

// An archived collection: a value has one form, so that what can be read is written to the bytes that were read.

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    const std::string archive(reinterpret_cast<const char*>(data), size);
    NSPropertyList value;
    try {
        value = NSArchiver::unarchiveObjectWithData(archive);
    } catch (const NSException& exception) {
        expect(exception.name() == NSArchiver::kCantUnarchive, "a refusal has its name");
        return 0;
    }
    expect(NSArchiver::archivedDataWithRootObject(value) == archive, "what was read is written to the same bytes");
    return 0;
}
