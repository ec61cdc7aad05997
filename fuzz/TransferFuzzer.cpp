#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "VaultChecks.h"

#include <algorithm>

// The transfer form: what was read is written to the bytes that were read.

namespace {

constexpr char kFormVersion = 1;

VLR_Document& document()
{
    static auto* const made = new VLR_Document(VLR_DocumentReadDecrypted);
    return *made;
}

std::string serialized(const VLR_PasswordData& record)
{
    return bytesOf(*record.Serialize());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    const std::string form(reinterpret_cast<const char*>(data), size);
    VLR_MemoryBlock block = blockOf(form);
    VLR_PasswordData record(&document());
    const std::string before = serialized(record);
    const bool isRead = succeeds([&] { record.Deserialize(&block); });
    const std::string after = serialized(record);
    if (form.empty() || form[0] != kFormVersion) {
        expect(isRead == !form.empty() && after == before, "another form is left alone");
        return 0;
    }
    const bool hasAllOnes = form.find("\xFF\xFF\xFF\xFF") != std::string::npos; // a second form of the empty text
    if (isRead && !hasAllOnes)
        expect(form.compare(0, after.size(), after) == 0, "what was read is written to the same bytes");

    VLR_MemoryBlock own = blockOf(after);
    VLR_PasswordData twin(&document());
    expect(succeeds([&] { twin.Deserialize(&own); }), "what was written is read");
    expect(serialized(twin) == after, "what was written is read to the same");
    return 0;
}
