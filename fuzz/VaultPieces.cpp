#include "VaultPieces.h"

namespace {

bool takeTag(std::string_view& from, std::string_view tag)
{
    if (from.substr(0, tag.size()) != tag)
        return false;
    from.remove_prefix(tag.size());
    return true;
}

void takeRecords(std::string_view& from, VaultPieces& pieces)
{
    for (;;) {
        std::string_view behind = from;
        std::string block;
        if (!takeTag(behind, "Pdat") || !takeChunk(behind, block))
            return;
        pieces.records.push_back(block);
        from = behind;
    }
}

} // namespace

std::string bigEndian(std::size_t number)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(number >> shift);
    return bytes;
}

std::string chunkOf(std::string_view content)
{
    return bigEndian(content.size()) + std::string(content);
}

bool takeBytes(std::string_view& from, std::size_t n, std::string& to)
{
    if (n > from.size())
        return false;
    to = from.substr(0, n);
    from.remove_prefix(n);
    return true;
}

bool takeChunk(std::string_view& from, std::string& to)
{
    std::string count;
    if (!takeBytes(from, 4, count))
        return false;
    std::size_t n = 0;
    for (const char byte : count)
        n = n << 8 | static_cast<unsigned char>(byte);
    return takeBytes(from, n, to);
}

std::optional<VaultPieces> VaultPieces::of(std::string_view file)
{
    VaultPieces pieces;
    if (takeTag(file, "VL_4"))
        pieces.magic = "VL_4";
    const bool isWhole = takeTag(file, "Fish") && takeChunk(file, pieces.referenceBuffer) && takeTag(file, "Pref")
        && takeChunk(file, pieces.preferences) && takeTag(file, "Dele") && takeChunk(file, pieces.deletionList)
        && takeTag(file, "SyIn") && takeChunk(file, pieces.identity) && takeChunk(file, pieces.partner);
    if (!isWhole)
        return std::nullopt;
    takeRecords(file, pieces);
    pieces.rest = file;
    return pieces;
}

std::string VaultPieces::file() const
{
    std::string bytes = magic + "Fish" + chunkOf(referenceBuffer) + "Pref" + chunkOf(preferences) + "Dele"
        + chunkOf(deletionList) + "SyIn" + chunkOf(identity) + chunkOf(partner);
    for (const std::string& block : records)
        bytes += "Pdat" + chunkOf(block);
    return bytes + rest;
}

std::optional<RecordPieces> RecordPieces::of(std::string_view block)
{
    RecordPieces pieces;
    const bool isWhole = takeBytes(block, 4, pieces.version) && takeChunk(block, pieces.uuid)
        && takeBytes(block, 2, pieces.flags) && takeChunk(block, pieces.category) && takeChunk(block, pieces.clearBlock)
        && takeBytes(block, 4, pieces.clearValue) && takeChunk(block, pieces.encryptedPart);
    if (!isWhole)
        return std::nullopt;
    pieces.rest = block;
    return pieces;
}

std::string RecordPieces::block() const
{
    return version + chunkOf(uuid) + flags + chunkOf(category) + chunkOf(clearBlock) + clearValue
        + chunkOf(encryptedPart) + rest;
}
