#include "FuzzTexts.h"
#include "VaultChecks.h"
#include "VaultPieces.h"

#include <algorithm>
#include <cstring>
#include <random>

// Changes of a vault that leave the rest of it sound: of one section, record, field or count, also inside of encrypted
// parts, which bytes changed at random would only turn into noise.

extern "C" std::size_t LLVMFuzzerMutate(uint8_t* data, std::size_t size, std::size_t maxSize);
extern "C" std::size_t LLVMFuzzerCustomMutator(uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed);

namespace {

class VaultMutator {
public:
    explicit VaultMutator(unsigned seed)
        : random(seed)
    {
    }

    std::string mutated(const std::string& file)
    {
        std::optional<VaultPieces> pieces = VaultPieces::of(file);
        if (!pieces || below(4) == 0)
            return below(4) == 0 ? withChangedCount(file) : withChangedBytes(file, 16);
        if (below(4) == 0)
            changeHead(*pieces);
        else if (pieces->records.empty() || below(4) == 0)
            changeRecordList(*pieces);
        else
            changeRecord(pieces->records[below(pieces->records.size())]);
        return pieces->file();
    }

private:
    std::size_t below(std::size_t bound) { return random() % bound; }

    /// The engine's own changes, which know of dictionary and comparisons.
    static std::string withChangedBytes(const std::string& bytes, std::size_t mostAdded)
    {
        std::vector<uint8_t> buffer(bytes.begin(), bytes.end());
        buffer.resize(bytes.size() + mostAdded);
        buffer.resize(LLVMFuzzerMutate(buffer.data(), bytes.size(), buffer.size()));
        return std::string(buffer.begin(), buffer.end());
    }

    std::string anyCount()
    {
        static constexpr std::size_t kCounts[]
            = { 0, 1, 4, 8, 0x22, 0x100, 0x7FFFFFFF, 0x80000000, 0xFFFFFFF8, 0xFFFFFFFC, 0xFFFFFFFE, 0xFFFFFFFF };
        return bigEndian(below(2) == 0 ? below(64) : kCounts[below(std::size(kCounts))]);
    }

    std::string withChangedCount(const std::string& bytes)
    {
        std::string changed = bytes;
        if (changed.size() >= 4)
            changed.replace(below(changed.size() - 3), 4, anyCount());
        return changed;
    }

    void changeHead(VaultPieces& pieces)
    {
        switch (below(6)) {
        case 0: pieces.magic = pieces.magic.empty() ? "VL_4" : ""; break;
        case 1: pieces.preferences = withChangedBytes(pieces.preferences, 0); break;
        case 2: changeDeletions(pieces); break;
        case 3: pieces.identity = withChangedBytes(pieces.identity, 8); break;
        case 4: pieces.partner = withChangedBytes(pieces.partner, 8); break;
        default: pieces.rest = withChangedBytes(pieces.rest, 8);
        }
    }

    void changeDeletions(VaultPieces& pieces)
    {
        if (pieces.records.empty() || below(3) == 0) {
            pieces.deletionList = withChangedBytes(pieces.deletionList, 16);
            return;
        }
        const auto record = RecordPieces::of(pieces.records[below(pieces.records.size())]);
        if (record)
            pieces.deletionList += chunkOf(record->uuid) + "ab";
    }

    void changeRecordList(VaultPieces& pieces)
    {
        auto& records = pieces.records;
        switch (below(4)) {
        case 0: records.push_back(std::string(bigEndian(4))); break;
        case 1:
            if (!records.empty())
                records.push_back(records[below(records.size())]);
            break;
        case 2:
            if (!records.empty())
                records.erase(records.begin() + static_cast<std::ptrdiff_t>(below(records.size())));
            break;
        default: std::shuffle(records.begin(), records.end(), random);
        }
    }

    void changeRecord(std::string& block)
    {
        std::optional<RecordPieces> record = RecordPieces::of(block);
        if (!record || below(8) == 0) {
            block = withChangedBytes(block, 8);
            return;
        }
        switch (below(12)) {
        case 0: record->version = bigEndian(below(6)); break;
        case 1: record->uuid = withChangedBytes(record->uuid, 8); break;
        case 2: record->flags[below(2)] = static_cast<char>(random()); break;
        case 3: record->category = withChangedBytes(record->category, 8); break;
        case 4: record->clearBlock = withChangedBytes(record->clearBlock, 8); break;
        case 5: record->clearValue = withChangedBytes(record->clearValue, 0); break;
        default: changeEncryptedPart(record->encryptedPart);
        }
        block = record->block();
    }

    void changeEncryptedPart(std::string& part)
    {
        VLR_MemoryBlock block = blockOf(part);
        if (part.size() % 8 != 0 || below(8) == 0) {
            part = withChangedBytes(part, 8);
            return;
        }
        fuzzFish().DecryptMemoryBlock(block);
        block = blockOf(withChangedPlain(bytesOf(block)));
        fuzzFish().EncryptMemoryBlock(block);
        part = bytesOf(block);
    }

    std::string withChangedPlain(const std::string& plain)
    {
        std::string_view left = plain;
        std::vector<std::string> texts(7);
        std::string numbers;
        std::string growth;
        bool isWhole = true;
        for (std::string& text : texts)
            isWhole = isWhole && takeChunk(left, text);
        if (!isWhole || !takeBytes(left, 18, numbers) || !takeChunk(left, growth) || below(8) == 0)
            return below(2) == 0 ? withChangedCount(plain) : withChangedBytes(plain, 8);
        switch (below(4)) {
        case 0: numbers = withChangedBytes(numbers, 0); break;
        case 1: changeGrowth(growth); break;
        default: {
            std::string& text = texts[below(7)];
            text = withChangedBytes(text, 16);
        }
        }
        std::string changed;
        for (const std::string& text : texts)
            changed += chunkOf(text);
        numbers.resize(18);
        return changed + numbers + chunkOf(growth);
    }

    void changeGrowth(std::string& growth)
    {
        switch (below(3)) {
        case 0: growth = withChangedBytes(growth, 8); break;
        case 1: growth += chunkOf(withChangedBytes(growth.substr(0, 16), 8)); break;
        default: growth = chunkOf(chunkOf(withChangedBytes("abc", 8))) + growth;
        }
    }

    std::mt19937 random;
};

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed)
{
    const std::string file
        = VaultMutator(seed).mutated(std::string(reinterpret_cast<const char*>(data), size)).substr(0, maxSize);
    std::memcpy(data, file.data(), file.size());
    return file.size();
}
