#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "PlainBytes.h"
#include "PreferencesModel.h"

// The preferences section: read as a plain reading of its table has it, and written to the bytes that were read.

namespace {

constexpr std::size_t kCount = 4;
constexpr std::size_t kLength = 34;

uint32_t numberAt(const std::string& bytes, std::size_t offset)
{
    return PlainBytes(bytes.substr(offset)).number(4);
}

/// The content of a section that must be read, else nothing. The last two bytes may be missing where the file ends with
/// the section, as the oldest ones do.
std::string acceptableContent(const std::string& section)
{
    PlainBytes bytes(section);
    const std::string content = bytes.chunk();
    const bool isWhole = content.size() == kLength || bytes.isAtEnd();
    return isWhole && isPreferences(content) ? content : "";
}

void expectWritten(VLR_Document& document, const std::string& content)
{
    VLR_MemoryBlock block;
    VLR_MemoryStream stream(block);
    const StVLR_DocumentStream whileWriting(document, &stream);
    document.WriteDocumentPreferences();
    const std::string out = bytesOf(block).substr(4);
    expect(out.size() == kLength, "the length is always the same");
    expect(numberAt(out, 0) == 4 && numberAt(out, 4) == document.openDate, "the present version and date");
    expect(numberAt(out, 13) == document.sortParams, "the sort order is written");
    const std::size_t behind = content.size() - 17; // the sort order
    expect(
        out.compare(8, 5, content, 8, 5) == 0 && out.compare(17, behind, content, 17, behind) == 0, "all else is kept");
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
    const std::string content = acceptableContent(section);
    expect(isRead == !content.empty(), "a section is read if it is whole and of a known version");
    if (!isRead)
        return 0;
    expect(stream.Offset() == kCount + content.size(), "the cursor ends behind the section");
    expectPreferencesAs(content, document);
    expectWritten(document, content);
    return 0;
}
