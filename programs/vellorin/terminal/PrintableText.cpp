// The operations of Console.h on texts for people.

#include "Console.h"
#include "Utf8.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include <unicode/uchar.h>

namespace {

constexpr char kLeftOut[] = "…";

/// What stands for one step of a text.
struct Piece {
    std::string text;
    std::size_t columns = 1;
};

/// It steers the terminal, the order of reading or the line, or shows nothing at all.
bool isDisguise(char32_t character)
{
    const auto c = static_cast<UChar32>(character);
    const uint32_t mask = U_GET_GC_MASK(c);
    return (mask & (U_GC_CC_MASK | U_GC_CF_MASK | U_GC_ZL_MASK | U_GC_ZP_MASK)) != 0
        || u_hasBinaryProperty(c, UCHAR_DEFAULT_IGNORABLE_CODE_POINT);
}

std::size_t columnsOf(char32_t character)
{
    const auto c = static_cast<UChar32>(character);
    if ((U_GET_GC_MASK(c) & (U_GC_MN_MASK | U_GC_ME_MASK)) != 0)
        return 0;
    const int width = u_getIntPropertyValue(c, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

Piece escaped(const char* format, char32_t value)
{
    char text[16] = {};
    const int length = std::snprintf(text, sizeof text, format, static_cast<unsigned int>(value));
    return { text, static_cast<std::size_t>(length) };
}

Piece pieceFor(const Utf8Step& step, std::string_view bytes)
{
    if (!step.isCharacter)
        return escaped("\\x%02x", step.character);
    if (step.character == '\\')
        return { "\\\\", 2 };
    if (!isDisguise(step.character))
        return { std::string(bytes), columnsOf(step.character) };
    if (step.character < 0x80)
        return escaped("\\x%02x", step.character);
    return step.character < 0x10000 ? escaped("\\u%04x", step.character) : escaped("\\U%08x", step.character);
}

template <class Take>
void forEachPiece(std::string_view text, const Take& take)
{
    while (!text.empty()) {
        const Utf8Step step = firstStep(text);
        take(pieceFor(step, text.substr(0, step.length)));
        text.remove_prefix(step.length);
    }
}

/// Pieces from `begin` on, in the direction of the iterator, as long as they fit.
template <class Iterator>
Iterator endOfFitting(Iterator begin, Iterator end, std::size_t columns)
{
    for (; begin != end && begin->columns <= columns; ++begin)
        columns -= begin->columns;
    return begin;
}

/// The start and the end, with a mark between: names of copies differ at their ends.
std::string shortened(const std::vector<Piece>& pieces, std::size_t columns)
{
    if (columns == 0)
        return {};
    const std::size_t atStart = (columns - 1) / 2;
    const auto start = endOfFitting(pieces.begin(), pieces.end(), atStart);
    const auto end = endOfFitting(pieces.rbegin(), pieces.rend(), columns - 1 - atStart).base();
    std::string result;
    std::for_each(pieces.begin(), start, [&](const Piece& piece) { result += piece.text; });
    result += kLeftOut;
    std::for_each(end, pieces.end(), [&](const Piece& piece) { result += piece.text; });
    return result;
}

} // namespace

std::string printable(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    forEachPiece(text, [&](const Piece& piece) { result += piece.text; });
    return result;
}

std::string printable(std::string_view text, std::size_t columns)
{
    std::vector<Piece> pieces;
    std::size_t width = 0;
    forEachPiece(text, [&](Piece&& piece) {
        width += piece.columns;
        pieces.push_back(std::move(piece));
    });
    if (width > columns)
        return shortened(pieces, columns);
    std::string result;
    for (const Piece& piece : pieces)
        result += piece.text;
    return result;
}

std::size_t columnsOf(std::string_view text)
{
    std::size_t columns = 0;
    for (Utf8Step step; !text.empty(); text.remove_prefix(step.length)) {
        step = firstStep(text);
        columns += columnsOf(step.character);
    }
    return columns;
}

std::string padded(std::string text, std::size_t columns)
{
    const std::size_t width = columnsOf(text);
    return text.append(columns - std::min(columns, width), ' ');
}

std::string grouped(uint64_t number)
{
    std::string digits = std::to_string(number);
    if (digits.size() < 5)
        return digits;
    for (std::size_t place = digits.size(); place > 3;) {
        place -= 3;
        digits.insert(place, 1, ',');
    }
    return digits;
}

std::string counted(uint64_t number, const std::string& singular, const std::string& plural)
{
    return grouped(number) + " " + (number == 1 ? singular : plural);
}
