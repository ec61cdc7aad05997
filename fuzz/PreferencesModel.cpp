#include "PreferencesModel.h"

#include "FuzzInput.h"
#include "PlainBytes.h"

namespace {

constexpr std::size_t kLength = 34;
constexpr std::size_t kMayBeMissing = 2;
constexpr uint32_t kOldestVersion = 2;
constexpr uint32_t kNewestVersion = 4;

void expectFlag(int8_t flag, PlainBytes& bytes, int8_t otherwise, const char* name)
{
    expect(flag == (bytes.isAtEnd() ? otherwise : static_cast<int8_t>(bytes.number(1))), name);
}

void expectRectangleAs(PlainBytes& bytes, const VLR_Rect& rectangle)
{
    for (const int16_t side : { rectangle.top, rectangle.left, rectangle.bottom, rectangle.right })
        expect(static_cast<uint16_t>(side) == bytes.number(2), "the rectangle");
}

void expectColorAs(PlainBytes& bytes, const VLR_Color& color)
{
    for (const uint16_t part : { color.red, color.green, color.blue })
        expect(part == bytes.number(2), "the background");
}

} // namespace

bool isPreferences(const std::string& content)
{
    if (content.size() > kLength || content.size() < kLength - kMayBeMissing)
        return false;
    const uint32_t version = PlainBytes(content).number(4);
    return version >= kOldestVersion && version <= kNewestVersion;
}

void expectPreferencesAs(const std::string& content, const VLR_Document& document)
{
    const VLR_Document fresh(VLR_DocumentReadKeepEncrypted);
    if (content.empty()) {
        expect(document.previousOpenDate == 0 && document.documentStamp == fresh.documentStamp
                && document.sortParams == fresh.sortParams && document.documentRect == fresh.documentRect
                && document.backgroundColor == fresh.backgroundColor && document.documentFlagA == 0
                && document.documentFlagB == 0 && document.documentFlagC == 0
                && document.documentFlagOverridable == fresh.documentFlagOverridable,
            "preferences that are not there");
        return;
    }
    PlainBytes bytes(content);
    bytes.number(4); // the version
    expect(document.previousOpenDate == bytes.number(4), "the date");
    expect(document.documentStamp == bytes.number(4), "the stamp");
    expectFlag(document.documentFlagA, bytes, 0, "flag A");
    const uint32_t order = bytes.number(4);
    expect(document.sortParams == (order != 0 ? order : 1), "the sort order");
    expectRectangleAs(bytes, document.documentRect);
    expectFlag(document.documentFlagB, bytes, 0, "flag B");
    expectColorAs(bytes, document.backgroundColor);
    expectFlag(document.documentFlagOverridable, bytes, fresh.documentFlagOverridable, "the overridable flag");
    expectFlag(document.documentFlagC, bytes, 0, "flag C");
}
