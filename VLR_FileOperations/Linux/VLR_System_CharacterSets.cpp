#include "VLR_System.h"

#include "VLR_Exception.h"
#include "VLR_MacRoman.h"
#include "VLR_MemoryBlock.h"
#include "VLR_SystemConversions.h"
#include "VLR_Unicode.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <optional>

namespace {

constexpr unsigned char kFirstBeyondASCII = 0x80;

/// True if ASCII text has the same bytes in this set.
bool ExtendsASCII(VLR_CharacterSetType set)
{
    return set == VLR_CharacterSetUTF8 || set == VLR_CharacterSetASCII || set == VLR_CharacterSetMacRoman;
}

/// The text up to the first byte that is not valid.
VLR_UTF16 DecodeUTF8(const VLR_MemoryBlock& from)
{
    std::size_t validUnits = 0;
    VLR_UTF16 units = VLR_Unicode::Decode(from.Bytes(), from.Length(), validUnits);
    units.resize(validUnits);
    return units;
}

VLR_UTF16 DecodeUTF16(const VLR_MemoryBlock& from)
{
    VLR_UTF16 units(from.Length() / sizeof(char16_t));
    VLR_System::MemCopy(units.data(), from.Bytes(), static_cast<uint32_t>(units.size() * sizeof(char16_t)));
    VLR_Unicode::Mend(units);
    return units;
}

VLR_UTF16 DecodeSingleBytes(const VLR_MemoryBlock& from, VLR_CharacterSetType set)
{
    const auto unitOf = [set](unsigned char byte) -> char16_t {
        if (byte < kFirstBeyondASCII)
            return byte;
        return set == VLR_CharacterSetMacRoman ? kMacRomanUpperHalf[byte - kFirstBeyondASCII]
                                               : VLR_Unicode::kReplacement;
    };
    VLR_UTF16 units(from.Length());
    std::transform(from.Bytes(), from.Bytes() + from.Length(), units.begin(), unitOf);
    return units;
}

VLR_UTF16 Decode(const VLR_MemoryBlock& from, VLR_CharacterSetType set)
{
    switch (set) {
    case VLR_CharacterSetUTF8: return DecodeUTF8(from);
    case VLR_CharacterSetUTF16:
    case VLR_CharacterSetUTF16Terminated: return DecodeUTF16(from);
    case VLR_CharacterSetASCII:
    case VLR_CharacterSetMacRoman: break;
    }
    return DecodeSingleBytes(from, set);
}

/// The byte for a code unit, absent if the set has none.
std::optional<unsigned char> SingleByte(char16_t unit, VLR_CharacterSetType set)
{
    if (unit < kFirstBeyondASCII)
        return static_cast<unsigned char>(unit);
    if (set != VLR_CharacterSetMacRoman)
        return std::nullopt;
    const auto* const found = std::find(std::begin(kMacRomanUpperHalf), std::end(kMacRomanUpperHalf), unit);
    if (found == std::end(kMacRomanUpperHalf))
        return std::nullopt;
    return static_cast<unsigned char>(kFirstBeyondASCII + (found - kMacRomanUpperHalf));
}

/// Up to the first character that the set does not have.
void EncodeSingleBytes(const VLR_UTF16& units, VLR_CharacterSetType set, VLR_MemoryBlock& to)
{
    VLR_WipedVector<unsigned char> bytes;
    bytes.reserve(units.size());
    for (const char16_t unit : units) {
        const std::optional<unsigned char> byte = SingleByte(unit, set);
        if (!byte)
            break;
        bytes.push_back(*byte);
    }
    to.Resize(static_cast<uint32_t>(bytes.size()));
    VLR_System::MemCopy(to.Bytes(), bytes.data(), to.Length());
}

void EncodeUTF16(VLR_UTF16 units, bool terminated, VLR_MemoryBlock& to)
{
    if (terminated)
        units.push_back(0);
    to.Resize(static_cast<uint32_t>(units.size() * sizeof(char16_t)));
    VLR_System::MemCopy(to.Bytes(), units.data(), to.Length());
}

void Encode(VLR_UTF16 units, VLR_CharacterSetType set, VLR_MemoryBlock& to)
{
    switch (set) {
    case VLR_CharacterSetUTF8: VLR_Unicode::StoreUTF8(units, to); break;
    case VLR_CharacterSetUTF16: EncodeUTF16(std::move(units), /*terminated=*/false, to); break;
    case VLR_CharacterSetUTF16Terminated: EncodeUTF16(std::move(units), /*terminated=*/true, to); break;
    case VLR_CharacterSetASCII:
    case VLR_CharacterSetMacRoman: EncodeSingleBytes(units, set, to); break;
    }
}

} // namespace

uint32_t VLRToSysConversionType(VLR_CharacterSetType set)
{
    switch (set) {
    case VLR_CharacterSetUTF8: return 0x08000100;
    case VLR_CharacterSetUTF16:
    case VLR_CharacterSetUTF16Terminated: return 0x0100;
    case VLR_CharacterSetASCII: return 0x0600;
    case VLR_CharacterSetMacRoman: return 0;
    }
    VLR_RAISE(VLR_System::kUnknownEncoding);
}

void VLR_System::ConvertString(
    const VLR_MemoryBlock& from, VLR_CharacterSetType fromSet, VLR_MemoryBlock& to, VLR_CharacterSetType toSet)
{
    VLRToSysConversionType(fromSet); // raises for a set that there is not
    VLRToSysConversionType(toSet);
    const bool isUTF8Throughout = fromSet == VLR_CharacterSetUTF8 && toSet == VLR_CharacterSetUTF8;
    if (isUTF8Throughout
        || (ExtendsASCII(fromSet) && ExtendsASCII(toSet) && VLR_Unicode::IsASCII(from.Bytes(), from.Length()))) {
        to.Resize(from.Length());
        MemCopy(to.Bytes(), from.Bytes(), from.Length());
        return;
    }
    Encode(Decode(from, fromSet), toSet, to);
}

uint32_t VLR_System::CStringLength(const char* text)
{
    return static_cast<uint32_t>(std::strlen(text));
}

int16_t VLR_System::CStringCompare(const char* a, const char* b)
{
    return static_cast<int16_t>(std::strcmp(a, b));
}

int16_t VLR_System::CStringCompare(const char* a, const char* b, unsigned int n)
{
    return static_cast<int16_t>(std::strncmp(a, b, n));
}

char* VLR_System::CStringCopy(char* destination, const char* source, unsigned int n)
{
    std::strncpy(destination, source, n);
    destination[n] = '\0';
    return destination;
}
