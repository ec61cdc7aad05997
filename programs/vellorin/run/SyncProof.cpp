#include "SyncProof.h"

#include "RecordIndex.h"
#include "VaultDifference.h"

#include <algorithm>
#include <string_view>

namespace {

using Reason = std::optional<std::string>;

constexpr std::size_t kOpenDateInPreferences = 4;
constexpr std::size_t kOpenDateLength = 4;

Reason about(const char* what, std::string_view uuid)
{
    return what + std::string(uuid);
}

/// A vault with what is looked up in it.
struct Known {
    explicit Known(const VaultContents& vault)
        : contents(vault)
        , records(vault.records)
        , deletions(vault.deletions)
    {
    }

    const VaultContents& contents;
    const RecordIndex records;
    const DeletionSet deletions;
};

using Vaults = std::vector<Known>;

Reason lostRecord(const Known& input, const Vaults& outputs)
{
    for (uint32_t i = 0; i < input.records.count(); ++i) {
        const RecordIndex::Sought sought = input.records.at(i);
        const std::string_view uuid = sought.record.uuid;
        const auto hasIt = [&](const Known& output) { return output.records.sameUuid(sought).has_value(); };
        const auto deletedIt = [&](const Known& output) { return output.deletions.names(uuid); };
        if (!std::all_of(outputs.begin(), outputs.end(), hasIt)
            && !std::all_of(outputs.begin(), outputs.end(), deletedIt))
            return about("a record would be lost: ", uuid);
    }
    return std::nullopt;
}

Reason lostDeletion(const Known& input, const Vaults& outputs)
{
    for (const VaultDeletion& deletion : input.contents.deletions) {
        for (const Known& output : outputs) {
            if (!output.deletions.names(deletion.uuid))
                return about("a deletion would be lost: ", deletion.uuid);
        }
    }
    return std::nullopt;
}

Reason foreignRecord(const Vaults& inputs, const Vaults& outputs)
{
    for (const Known& output : outputs) {
        for (uint32_t i = 0; i < output.records.count(); ++i) {
            const RecordIndex::Sought sought = output.records.at(i);
            const auto hasIt = [&](const Known& input) { return input.records.sameBody(sought).has_value(); };
            if (std::none_of(inputs.begin(), inputs.end(), hasIt))
                return about("a record would hold what stood in neither file: ", sought.record.uuid);
        }
    }
    return std::nullopt;
}

Reason foreignDeletion(const Vaults& inputs, const Vaults& outputs)
{
    for (const Known& output : outputs) {
        for (const VaultDeletion& deletion : output.contents.deletions) {
            const auto namesIt = [&](const Known& input) { return input.deletions.names(deletion.uuid); };
            if (std::none_of(inputs.begin(), inputs.end(), namesIt))
                return about("a deletion would stand there that stood in neither file: ", deletion.uuid);
        }
    }
    return std::nullopt;
}

bool isKept(const RecordIndex::Sought& sought, const Vaults& outputs)
{
    return std::any_of(outputs.begin(), outputs.end(), [&](const Known& output) {
        return output.records.sameBody(sought)
            || (!output.records.sameUuid(sought) && output.deletions.names(sought.record.uuid));
    });
}

/// Of the records that one UUID has in an input, those that are not the first; and the first, if they differ from it.
Reason lostRepetition(const Known& input, const Vaults& outputs)
{
    const RecordIndex& records = input.records;
    std::vector<bool> isFirstAsked(records.repeatsUuid() ? records.count() : 0);
    for (uint32_t i = 0; i < isFirstAsked.size(); ++i) {
        const uint32_t first = records.sameUuid(records.at(i)).value();
        if (records.sameBody(records.at(i)) == first)
            continue;
        const bool isFirstKept = isFirstAsked[first] || isKept(records.at(first), outputs);
        isFirstAsked[first] = true;
        if (!isFirstKept || !isKept(records.at(i), outputs))
            return about("of two records with one identity one would be lost: ", records.at(i).record.uuid);
    }
    return std::nullopt;
}

/// Whether bytes are equal outside of `gap` and the `gapLength` bytes behind.
bool isSameButFor(std::size_t gap, std::size_t gapLength, const uint8_t* bytes, const NSData& expected)
{
    std::size_t offset = 0;
    for (const NSData::ByteRange& range : expected.byteRanges()) {
        const std::size_t end = offset + range.length;
        const auto isSame = [&](std::size_t from, std::size_t to) {
            return from >= to || std::equal(bytes + from, bytes + to, range.bytes + (from - offset));
        };
        if (!isSame(offset, std::min(end, gap)) || !isSame(std::max(offset, gap + gapLength), end))
            return false;
        offset = end;
    }
    return true;
}

} // namespace

std::optional<std::string> reasonNotProved(
    const VaultContents& firstInput, const VaultContents& secondInput, const std::vector<const VaultContents*>& outputs)
{
    Vaults inputs;
    inputs.reserve(2);
    for (const VaultContents* const input : { &firstInput, &secondInput })
        inputs.emplace_back(*input);
    Vaults known;
    known.reserve(outputs.size());
    for (const VaultContents* const output : outputs)
        known.emplace_back(*output);
    for (const Known& input : inputs) {
        for (const auto& lost : { lostRecord, lostDeletion, lostRepetition }) {
            if (const Reason reason = lost(input, known))
                return reason;
        }
    }
    const Reason deletion = foreignDeletion(inputs, known);
    return deletion ? deletion : foreignRecord(inputs, known);
}

bool isSameButForOpenDate(const VaultContents& vault, const NSData& expected)
{
    const uint8_t* const bytes = vault.bytes().bytes();
    const auto* const preferences = reinterpret_cast<const uint8_t*>(vault.preferences.data());
    const auto date = static_cast<std::size_t>(preferences - bytes) + kOpenDateInPreferences;
    return vault.bytes().length() == expected.length() && isSameButFor(date, kOpenDateLength, bytes, expected);
}
