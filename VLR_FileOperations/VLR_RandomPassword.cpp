#include "VLR_RandomPassword.h"

#include "VLR_RandomPasswordParts.h"
#include "VLR_System.h"
#include "VLR_Utility.h"

#include <algorithm>

namespace {

constexpr char kPunctuationCharacters[] = "~!@#$%^&*/.,;:'\"?";
constexpr uint32_t kPunctuationCount = sizeof kPunctuationCharacters - 1;
constexpr uint32_t kLetterCount = 26;
constexpr uint32_t kDigitCount = 10;
constexpr uint32_t kRepeatFields = 3;

bool IsCapital(unsigned char byte)
{
    return byte >= 'A' && byte <= 'Z';
}

void FoldToCapitals(VLR_String& piece)
{
    unsigned char* const end = piece.Bytes() + piece.Length();
    std::transform(piece.Bytes(), end, piece.Bytes(),
        [](unsigned char byte) { return byte >= 'a' && byte <= 'z' ? static_cast<unsigned char>(byte - 0x20) : byte; });
}

unsigned char DrawFrom(unsigned char first, uint32_t count)
{
    return static_cast<unsigned char>(first + VLR_System::RandomUInt32(count));
}

/// The number without a positive counterpart stays as it is.
int32_t Magnitude(int32_t number)
{
    return number < 0 ? static_cast<int32_t>(0 - static_cast<uint32_t>(number)) : number;
}

/// Modulo 2^32.
int32_t Difference(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

struct Stretch {
    unsigned char* begin;
    unsigned char* end;

    VLR_String Text() const
    {
        return VLR_String(VLR_MemoryBlock(begin, static_cast<uint32_t>(end - begin)), VLR_CharacterSetUTF8);
    }
};

/// What stands between a repeat's own braces, split at its own colons.
struct RepeatFields {
    Stretch first[kRepeatFields];
    uint32_t count = 0; // all of them, whether kept or not

    void Add(const Stretch& field)
    {
        if (count < kRepeatFields)
            first[count] = field;
        ++count;
    }
};

/// From the opening brace. Moves the cursor to the closing one, or to `end` if there is none.
RepeatFields SplitRepeat(unsigned char** cursor, const unsigned char* end)
{
    RepeatFields fields;
    unsigned char* fieldBegin = *cursor + 1;
    uint32_t depth = 0;
    for (; *cursor != end; ++*cursor) {
        const unsigned char byte = **cursor;
        if (byte == '{')
            ++depth;
        if (byte == '}')
            --depth;
        if (depth == 0 || (byte == ':' && depth == 1)) {
            fields.Add({ fieldBegin, *cursor });
            fieldBegin = *cursor + 1;
        }
        if (depth == 0)
            break;
    }
    return fields;
}

/// A number of repeats between two numbers given in either order. Draws even if they are equal.
int32_t DrawCount(const VLR_String& from, const VLR_String& to)
{
    const int32_t first = Magnitude(VLR_Utility::StringToSInt32(from));
    const int32_t second = Magnitude(VLR_Utility::StringToSInt32(to));
    int32_t count = std::min(first, second);
    const int32_t difference = Magnitude(Difference(second, first));
    if (difference >= 0)
        count += static_cast<int32_t>(VLR_System::RandomUInt32(static_cast<uint32_t>(difference) + 1));
    return count;
}

/// Counts a level for the length of a scope.
class StVLR_Level {
public:
    explicit StVLR_Level(uint32_t& level)
        : level(level)
    {
        ++level;
    }
    ~StVLR_Level() { --level; }
    StVLR_Level(const StVLR_Level&) = delete;
    StVLR_Level& operator=(const StVLR_Level&) = delete;

private:
    uint32_t& level;
};

} // namespace

void VLR_RandomPassword::GenerateOnePassword(const VLR_String& pattern, VLR_String& password)
{
    VLR_String copy(pattern); // it may be the password
    VLR_RandomPassword generator(password);
    generator.Expand(copy.Bytes(), copy.Bytes() + copy.Length());
}

VLR_RandomPassword::VLR_RandomPassword(VLR_String& output)
    : output(output)
{
}

VLR_String VLR_RandomPassword::GenRange(unsigned char* begin, unsigned char* end)
{
    Expand(begin, end);
    return output;
}

void VLR_RandomPassword::Expand(unsigned char* begin, unsigned char* end)
{
    const StVLR_Level whileExpanding(level);
    if (level > kMostLevels + 1)
        ended = true;
    for (unsigned char* cursor = begin; cursor != end && TakeSteps(1); ++cursor) {
        if (*cursor == '[')
            GenBracket(&cursor, end);
        else if (*cursor == '{')
            GenBraces(&cursor, end);
        else
            ExpandLetter(*cursor);
        if (cursor == end)
            return;
    }
}

void VLR_RandomPassword::ExpandLetter(unsigned char byte)
{
    switch (byte) {
    case '#': AppendByte(DrawFrom('0', kDigitCount)); break;
    case 'x': AppendByte(DrawFrom('a', kLetterCount)); break;
    case 'X': AppendByte(DrawFrom('A', kLetterCount)); break;
    case 'p':
    case 'P': {
        const char drawn = kPunctuationCharacters[VLR_System::RandomUInt32(kPunctuationCount)];
        AppendByte(static_cast<unsigned char>(drawn));
        break;
    }
    case 'a':
    case 'A':
    case 'w':
    case 'W':
    case 's':
    case 'S': ExpandPiece(byte); break;
    default: AppendByte(byte);
    }
}

void VLR_RandomPassword::ExpandPiece(unsigned char byte)
{
    VLR_String piece;
    const auto kind = static_cast<unsigned char>(IsCapital(byte) ? byte + 0x20 : byte);
    bool added = true;
    if (kind == 's')
        added = VLR_PhoneticPassword::RandomPhonemeExtension(output, piece);
    else
        added = words.RandomWord(piece, /*shortList=*/kind == 'a');
    if (!added)
        piece.AppendByte(byte);
    if (IsCapital(byte))
        FoldToCapitals(piece);
    AppendBytes(piece.Bytes(), piece.Length());
}

/// The many letters of a long password go in one by one, without a block for each.
void VLR_RandomPassword::AppendByte(unsigned char byte)
{
    AppendBytes(&byte, 1);
}

void VLR_RandomPassword::AppendBytes(const unsigned char* bytes, uint32_t n)
{
    if (ended || n > outputLeft) {
        ended = true;
        return;
    }
    outputLeft -= n;
    output.ReserveForAppend(n);
    output.Append(bytes, n);
}

void VLR_RandomPassword::GenBracket(unsigned char** cursor, unsigned char* end)
{
    ++*cursor;
    unsigned char* set = *cursor;
    for (; *cursor != end; ++*cursor) {
        const unsigned char byte = **cursor;
        if (byte == '[' || byte == '{' || byte == '}' || !TakeSteps(1)) {
            *cursor = end;
            return;
        }
        if (byte != ']')
            continue;
        if (*cursor != set) {
            unsigned char* const member = set + VLR_System::RandomUInt32(static_cast<uint32_t>(*cursor - set));
            Expand(member, member + 1);
            return;
        }
        ++set; // neither closes an empty set nor joins it
    }
}

void VLR_RandomPassword::GenBraces(unsigned char** cursor, unsigned char* end)
{
    unsigned char* const begin = *cursor;
    const RepeatFields fields = SplitRepeat(cursor, end);
    if (*cursor == end || !TakeSteps(static_cast<uint64_t>(*cursor - begin)) || fields.count != kRepeatFields)
        return;
    const int32_t count = DrawCount(fields.first[1].Text(), fields.first[2].Text());
    const Stretch& body = fields.first[0];
    for (int32_t i = 0; i < count && body.begin != body.end && !ended; ++i)
        Expand(body.begin, body.end);
}

/// False once the generation has ended.
bool VLR_RandomPassword::TakeSteps(uint64_t n)
{
    if (n > stepsLeft)
        ended = true;
    else
        stepsLeft -= n;
    return !ended;
}
