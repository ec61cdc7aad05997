#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "VLR_Document.h"

// The preferences section: read as a plain reading of its table has it, and written to the bytes that were read.

namespace {

constexpr std::size_t kLength = 34;

struct Field {
    std::size_t offset;
    std::size_t size;
};

constexpr Field kVersion { 0, 4 }, kDate { 4, 4 }, kStamp { 8, 4 }, kFlagA { 12, 1 }, kSortOrder { 13, 4 },
    kTop { 17, 2 }, kRight { 23, 2 }, kFlagB { 25, 1 }, kBlue { 30, 2 }, kOverridable { 32, 1 }, kFlagC { 33, 1 };

uint32_t valueOf(const std::string& content, const Field& field)
{
    uint32_t value = 0;
    for (const char byte : content.substr(field.offset, field.size))
        value = value << 8 | static_cast<unsigned char>(byte);
    return value;
}

/// The last two bytes may be missing where the file ends with the section, as the oldest ones do; their fields stay.
bool isAcceptable(const std::string& section)
{
    if (section.size() < 4 + kLength - 2)
        return false;
    const uint32_t count = valueOf(section, { 0, 4 });
    const bool isWhole = count == kLength && section.size() >= 4 + kLength;
    const bool isOldest = count >= kLength - 2 && count < kLength && section.size() == 4 + count;
    const uint32_t version = valueOf(section, { 4, 4 });
    return (isWhole || isOldest) && version >= 2 && version <= 4;
}

void expectRead(const VLR_Document& document, const std::string& content)
{
    const uint32_t order = valueOf(content, kSortOrder);
    expect(document.previousOpenDate == valueOf(content, kDate), "the date");
    expect(document.documentStamp == valueOf(content, kStamp), "the stamp");
    expect(static_cast<uint8_t>(document.documentFlagA) == valueOf(content, kFlagA), "flag A");
    expect(document.sortParams == (order != 0 ? order : 1), "the sort order");
    expect(static_cast<uint16_t>(document.documentRect.top) == valueOf(content, kTop), "the rectangle's top");
    expect(static_cast<uint16_t>(document.documentRect.right) == valueOf(content, kRight), "the rectangle's right");
    expect(static_cast<uint8_t>(document.documentFlagB) == valueOf(content, kFlagB), "flag B");
    expect(document.backgroundColor.blue == valueOf(content, kBlue), "the background's blue");
    expect(static_cast<uint8_t>(document.documentFlagOverridable) == valueOf(content, kOverridable), "the overridable");
    expect(static_cast<uint8_t>(document.documentFlagC) == valueOf(content, kFlagC), "flag C");
}

void expectWritten(VLR_Document& document, const std::string& content)
{
    VLR_MemoryBlock block;
    VLR_MemoryStream stream(block);
    const StVLR_DocumentStream whileWriting(document, &stream);
    document.WriteDocumentPreferences();
    const std::string out = bytesOf(block).substr(4);
    expect(out.size() == kLength, "the length is always the same");
    expect(valueOf(out, kVersion) == 4 && valueOf(out, kDate) == document.openDate, "the present version and date");
    expect(valueOf(out, kSortOrder) == document.sortParams, "the sort order is written");
    expect(out.compare(8, 5, content, 8, 5) == 0 && out.compare(17, 17, content, 17, 17) == 0, "all else is kept");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    const std::string section(reinterpret_cast<const char*>(data), size);
    VLR_Document document(VLR_DocumentReadKeepEncrypted);
    VLR_MemoryBlock block = blockOf(section);
    VLR_MemoryStream stream(block);
    bool isRead = false;
    {
        const StVLR_DocumentStream whileReading(document, &stream);
        isRead = succeeds([&] { document.ReadDocumentPreferences(); });
    }
    expect(isRead == isAcceptable(section), "a section is read if it is whole and of a known version");
    if (!isRead)
        return 0;
    expect(stream.Offset() == 4 + valueOf(section, { 0, 4 }), "the cursor ends behind the section");
    std::string content = section.substr(4, kLength);
    content.resize(kLength);
    if (section.size() == 4 + kLength - 2)
        content[kOverridable.offset] = VLR_Document(VLR_DocumentReadKeepEncrypted).documentFlagOverridable;
    expectRead(document, content);
    expectWritten(document, content);
    return 0;
}
