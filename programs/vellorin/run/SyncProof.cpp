#include "SyncProof.h"

#include "VaultDifference.h"

#include <algorithm>
#include <map>
#include <set>
#include <string_view>
#include <tuple>

namespace {

using Outputs = std::vector<const VaultContents*>;
using RecordKey = std::tuple<std::string_view, std::string_view, std::string_view>; // UUID, category, body
using Reason = std::optional<std::string>;

constexpr std::size_t kOpenDateInPreferences = 4;
constexpr std::size_t kOpenDateLength = 4;

RecordKey keyOf(const VaultRecord& record)
{
    return { record.uuid, record.category, record.body };
}

Reason about(const char* what, std::string_view uuid)
{
    return what + std::string(uuid);
}

/// What is looked up in an output, made once.
struct Known {
    explicit Known(const VaultContents& output)
        : deletions(output.deletions)
    {
        for (const VaultRecord& record : output.records) {
            uuids.insert(record.uuid);
            records.insert(keyOf(record));
        }
    }

    std::set<std::string_view> uuids;
    std::set<RecordKey> records;
    const DeletionSet deletions;
};

Reason lostRecord(const VaultContents& input, const std::vector<Known>& outputs)
{
    for (const VaultRecord& record : input.records) {
        const auto hasIt = [&](const Known& output) { return output.uuids.contains(record.uuid); };
        const auto deletedIt = [&](const Known& output) { return output.deletions.names(record.uuid); };
        if (!std::all_of(outputs.begin(), outputs.end(), hasIt)
            && !std::all_of(outputs.begin(), outputs.end(), deletedIt))
            return about("a record would be lost: ", record.uuid);
    }
    return std::nullopt;
}

Reason lostDeletion(const VaultContents& input, const std::vector<Known>& outputs)
{
    for (const VaultDeletion& deletion : input.deletions) {
        for (const Known& output : outputs) {
            if (!output.deletions.names(deletion.uuid))
                return about("a deletion would be lost: ", deletion.uuid);
        }
    }
    return std::nullopt;
}

Reason foreignRecord(const std::vector<Known>& inputs, const Outputs& outputs)
{
    for (const VaultContents* const output : outputs) {
        for (const VaultRecord& record : output->records) {
            const auto hasIt = [&](const Known& input) { return input.records.contains(keyOf(record)); };
            if (std::none_of(inputs.begin(), inputs.end(), hasIt))
                return about("a record would hold what stood in neither file: ", record.uuid);
        }
    }
    return std::nullopt;
}

Reason foreignDeletion(const std::vector<Known>& inputs, const Outputs& outputs)
{
    for (const VaultContents* const output : outputs) {
        for (const VaultDeletion& deletion : output->deletions) {
            const auto namesIt = [&](const Known& input) { return input.deletions.names(deletion.uuid); };
            if (std::none_of(inputs.begin(), inputs.end(), namesIt))
                return about("a deletion would stand there that stood in neither file: ", deletion.uuid);
        }
    }
    return std::nullopt;
}

/// Of the records that one UUID has in an input, those that are not the first.
Reason lostRepetition(const VaultContents& input, const std::vector<Known>& outputs)
{
    std::map<std::string_view, RecordKey> first;
    for (const VaultRecord& record : input.records) {
        const auto [found, isFirst] = first.try_emplace(record.uuid, keyOf(record));
        if (isFirst || found->second == keyOf(record))
            continue;
        for (const RecordKey& key : { found->second, keyOf(record) }) {
            const auto keepsIt = [&](const Known& output) {
                return output.records.contains(key)
                    || (!output.uuids.contains(record.uuid) && output.deletions.names(record.uuid));
            };
            if (std::none_of(outputs.begin(), outputs.end(), keepsIt))
                return about("of two records with one identity one would be lost: ", record.uuid);
        }
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> reasonNotProved(
    const VaultContents& firstInput, const VaultContents& secondInput, const std::vector<const VaultContents*>& outputs)
{
    std::vector<Known> known;
    for (const VaultContents* const output : outputs)
        known.emplace_back(*output);
    std::vector<Known> inputs;
    for (const VaultContents* const input : { &firstInput, &secondInput })
        inputs.emplace_back(*input);
    for (const VaultContents* const input : { &firstInput, &secondInput }) {
        for (const auto& lost : { lostRecord, lostDeletion, lostRepetition }) {
            if (const Reason reason = lost(*input, known))
                return reason;
        }
    }
    const Reason deletion = foreignDeletion(inputs, outputs);
    return deletion ? deletion : foreignRecord(inputs, outputs);
}

bool isSameButForOpenDate(const VaultContents& vault, const VaultContents& expected)
{
    const NSData& bytes = vault.bytes();
    const NSData& wanted = expected.bytes();
    const auto* const preferences = reinterpret_cast<const uint8_t*>(vault.preferences.data());
    const auto date = static_cast<std::size_t>(preferences - bytes.bytes()) + kOpenDateInPreferences;
    if (bytes.length() != wanted.length() || date + kOpenDateLength > bytes.length())
        return false;
    const std::size_t behind = date + kOpenDateLength;
    return std::equal(bytes.bytes(), bytes.bytes() + date, wanted.bytes())
        && std::equal(bytes.bytes() + behind, bytes.bytes() + bytes.length(), wanted.bytes() + behind);
}
