#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "TextModel.h"
#include "VLR_PodBlock.h"
#include "VLR_System.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

// Text operations on any bytes: whatever way they take, and with a kept representation or without, they answer what the
// slow model answers.

namespace {

constexpr VLR_StringComparisonType kBothTypes[] = { VLR_StringComparisonExact, VLR_StringComparisonCaseless };
constexpr std::size_t kLongestForTrials = 64; // units

void compareTexts(const std::string& a, const std::string& b)
{
    const VLR_String left = textOf(a);
    const VLR_String right = textOf(b);
    for (const VLR_StringComparisonType type : kBothTypes) {
        const int32_t order = TextModel::compare(a, b, type);
        expect(VLR_System::CompareStrings(left, right, type) == order, "the order is the model's");
        expect(VLR_System::CompareStrings(right, left, type) == -order, "the order turns round");
        if (order == 0)
            expect(VLR_System::HashString(left, type) == VLR_System::HashString(right, type), "equal texts hash alike");
        VLR_MemoryBlock leftKey;
        VLR_MemoryBlock rightKey;
        VLR_System::AppendComparisonKey(left, type, leftKey);
        VLR_System::AppendComparisonKey(right, type, rightKey);
        const int keys = bytesOf(leftKey).compare(bytesOf(rightKey));
        expect((keys < 0 ? -1 : keys > 0 ? 1 : 0) == order, "the keys have the same order");
        const StVLR_AutoSystemRepresentation whileComparing(left);
        expect(VLR_System::CompareStrings(left, right, type) == order, "a kept representation changes no order");
    }
}

VLR_Range foundIn(const VLR_String& text, const VLR_String& search, const VLR_Range& within,
    VLR_StringComparisonType type, bool& isRefused)
{
    isRefused = false;
    try {
        return VLR_System::FindRangeOfString(text, search, within, type);
    } catch (const std::out_of_range&) {
        isRefused = true;
        return kVLR_RangeNotFound;
    }
}

void find(const std::string& a, const std::string& b, const VLR_Range& within)
{
    const VLR_String text = textOf(a);
    const VLR_String search = textOf(b);
    const std::u16string units = TextModel::unitsOf(a);
    const bool areValid = TextModel::isValid(a) && TextModel::isValid(b);
    const bool isOutside = areValid && uint64_t { within.location } + within.length > units.size();
    const auto whole = static_cast<uint32_t>(units.size());
    for (const VLR_StringComparisonType type : kBothTypes) {
        const auto expected = [&](const VLR_Range& range) {
            return areValid && !isOutside ? TextModel::find(units, TextModel::unitsOf(b), range, type)
                                          : kVLR_RangeNotFound;
        };
        const VLR_Range first
            = areValid ? TextModel::find(units, TextModel::unitsOf(b), { 0, whole }, type) : kVLR_RangeNotFound;
        bool isRefused = false;
        expect(VLR_System::FindRangeOfString(text, search, type) == first, "the first match is the model's");
        expect(foundIn(text, search, within, type, isRefused) == expected(within), "the match within is the model's");
        expect(isRefused == isOutside, "a range past the end is refused");
        const StVLR_AutoSystemRepresentation whileFinding(text);
        const StVLR_AutoSystemRepresentation ofSearch(search);
        expect(VLR_System::FindRangeOfString(text, search, type) == first, "a kept representation changes no match");
        expect(foundIn(text, search, within, type, isRefused) == expected(within), "nor one within");
    }
}

/// Matches one behind the other. One that is shorter than what is searched for takes its length all the same.
std::vector<VLR_Range> matchesOf(const std::u16string& text, const std::u16string& search)
{
    std::vector<VLR_Range> matches;
    const auto total = static_cast<uint32_t>(text.size());
    uint32_t next = 0;
    for (;;) {
        const VLR_Range found = TextModel::find(text, search, { next, total - next }, VLR_StringComparisonCaseless);
        if (found == kVLR_RangeNotFound)
            return matches;
        matches.push_back(found);
        next = std::min(total, found.location + std::max(static_cast<uint32_t>(search.size()), found.length));
    }
}

void replaceAll(const std::string& a, const std::string& b, const std::string& c)
{
    if (!TextModel::isValid(a) || !TextModel::isValid(b) || !TextModel::isValid(c))
        return;
    const std::u16string units = TextModel::unitsOf(a);
    const std::vector<VLR_Range> matches = matchesOf(units, TextModel::unitsOf(b));
    std::u16string expected;
    std::size_t end = 0;
    for (const VLR_Range& match : matches) {
        expected += units.substr(end, match.location - end) + TextModel::unitsOf(c);
        end = match.location + match.length;
    }
    expected += units.substr(end);
    VLR_String text = textOf(a);
    expect(text.ReplaceAll(textOf(b), textOf(c)) == matches.size(), "as many matches are replaced");
    expect(bytesOf(text) == TextModel::utf8Of(expected), "they are replaced as the model has it");
}

void cutAndReplace(const std::string& a, const std::string& c, const VLR_Range& range)
{
    const VLR_String text = textOf(a);
    const std::u16string units = TextModel::unitsOf(a);
    const uint64_t end = uint64_t { range.location } + range.length;
    const bool isInside = TextModel::isValid(a) && end <= units.size();
    VLR_String cut;
    const bool isCut = succeeds([&] { cut = VLR_System::SubstringOfRange(text, range); });
    expect(isCut == isInside, "a range of the text is cut out");
    if (isCut) {
        const std::u16string stretch = units.substr(range.location, range.length);
        expect(
            bytesOf(cut) == TextModel::utf8Of(stretch.substr(0, stretch.find(u'\0'))), "it is cut as the model has it");
    }
    VLR_String replaced = textOf(a);
    bool isReplaced = true;
    try {
        VLR_System::ReplaceRangeOfString(replaced, textOf(c), range);
    } catch (const std::out_of_range&) {
        isReplaced = false;
    }
    expect(isReplaced == isInside, "a range of the text is replaced");
    if (isReplaced && TextModel::isValid(c)) {
        std::u16string expected = units;
        expected.replace(range.location, range.length, TextModel::unitsOf(c));
        expect(bytesOf(replaced) == TextModel::utf8Of(expected), "it is replaced as the model has it");
    }
}

void lower(const std::string& a)
{
    VLR_String text = textOf(a);
    VLR_System::LowercaseString(text);
    const bool isValid = TextModel::isValid(a);
    expect(bytesOf(text) == (isValid ? TextModel::utf8Of(TextModel::lowered(TextModel::unitsOf(a))) : a),
        "small letters are the model's");
    expect(VLR_System::LengthOfString(textOf(a)) == (isValid ? TextModel::unitsOf(a).size() : 0), "the length is too");
}

/// From each set to UTF-8; what came is the same in UTF-16 and back. Set 1 is kept byte by byte.
void convert(const std::string& a)
{
    for (int32_t set = VLR_CharacterSetUTF8; set <= VLR_CharacterSetUTF16Terminated; ++set) {
        const auto type = static_cast<VLR_CharacterSetType>(set);
        const VLR_String text(blockOf(a), type);
        if (set == VLR_CharacterSetUTF8) {
            expect(bytesOf(text) == a, "UTF-8 is kept byte by byte");
            continue;
        }
        expect(TextModel::isValid(bytesOf(text)), "what is converted is valid");
        const VLR_String again(text.EncodedBlock(VLR_CharacterSetUTF16), VLR_CharacterSetUTF16);
        expect(bytesOf(again) == bytesOf(text), "UTF-16 gives it back");
        if (set == VLR_CharacterSetMacRoman)
            expect(bytesOf(text.EncodedBlock(type)) == a, "Mac Roman has every byte");
    }
    VLR_MemoryBlock units = textOf(a).EncodedBlock(VLR_CharacterSetUTF16);
    std::u16string expected = TextModel::unitsOf(a);
    const VLR_String prefix(units, VLR_CharacterSetUTF16);
    expect(a.compare(0, prefix.Length(), bytesOf(prefix)) == 0, "a text goes as far as it is valid");
    expect(!TextModel::isValid(a) || prefix.Length() == a.size(), "a valid text goes to its end");
    expect(units.Length() / 2 <= expected.size(), "no unit is added");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    const VLR_Range range { input.below(40), input.below(40) };
    const std::string search = input.bytes(input.below(32));
    const std::string replacement = input.bytes(input.below(8));
    const std::string text = input.rest();
    compareTexts(text, search);
    compareTexts(text, search + text.substr(std::min(search.size(), text.size())));
    lower(text);
    convert(text);
    cutAndReplace(text, replacement, range);
    if (TextModel::unitsOf(text).size() > kLongestForTrials)
        return 0;
    find(text, search, range);
    replaceAll(text, search, replacement);
    return 0;
}
