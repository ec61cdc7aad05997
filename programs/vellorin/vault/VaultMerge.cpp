#include "VaultMerge.h"

#include "ExitStatus.h"
#include "TextHash.h"
#include "VLR_Document.h"
#include "VLR_Exception.h"
#include "VLR_SipHash.h"
#include "VLR_Synchronize.h"
#include "VLR_SystemConversions.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <unordered_map>
#include <unordered_set>

namespace {

constexpr std::size_t kSettingsInPreferences = 8; // behind version and date
constexpr std::size_t kOverridableFlagInPreferences = 32;

std::string_view viewOf(const NSData& data)
{
    return { reinterpret_cast<const char*>(data.bytes()), data.length() };
}

std::string_view viewOf(const VLR_MemoryBlock& block)
{
    return { reinterpret_cast<const char*>(block.Bytes()), block.Length() };
}

VLR_String textOf(std::string_view utf8)
{
    VLR_String text;
    text.Append(utf8.data(), static_cast<uint32_t>(utf8.size()));
    return text;
}

std::string wordsOf(const VLR_Exception& exception)
{
    return exception.message.IsEmpty() ? "code " + std::to_string(exception.code) : VLRToSys(exception.message);
}

/// Of two versions of one thing that differ: the one that isn't the base's, else the one with the greater bytes.
bool firstWins(std::string_view first, std::string_view second, bool isFirstInBase, bool isSecondInBase)
{
    return isFirstInBase != isSecondInBase ? isSecondInBase : first > second;
}

/// The records of a document as versions: each with its block as it would be written, and repetitions left out.
class Versions {
public:
    struct Version {
        VLR_PasswordData* record;
        std::string block;
    };

    explicit Versions(VLR_Document& document)
    {
        list.reserve(document.recordList.Count()); // the views of their blocks stay what they are
        for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
            VLR_PasswordData* const record = document.recordList.ObjectAtIndex(i);
            VLR_MemoryBlock block;
            record->WriteDataWithFish(block, document.DocFish());
            list.push_back({ record, std::string(viewOf(block)) });
            if (!blocks_.insert(list.back().block).second) {
                list.pop_back();
                continue;
            }
            Group& group = groups_[nameOf(*record)];
            group.only = list.size() - 1;
            ++group.count;
        }
    }

    bool has(std::string_view block) const { return blocks_.contains(block); }

    /// The version with the same UUID and category, if there is exactly one.
    const Version* only(const VLR_PasswordData& like) const
    {
        const auto group = groups_.find(nameOf(like));
        return group != groups_.end() && group->second.count == 1 ? &list[group->second.only] : nullptr;
    }

    std::vector<Version> list;

private:
    struct Group {
        std::size_t only = 0;
        std::size_t count = 0;
    };

    struct Name {
        std::string_view uuid;
        std::string_view category;

        bool operator==(const Name&) const = default;
    };

    struct NameHash {
        std::size_t operator()(const Name& name) const { return TextHash::of({ name.uuid, name.category }); }
    };

    static Name nameOf(const VLR_PasswordData& record) { return { viewOf(record.UUID()), viewOf(record.Category()) }; }

    std::unordered_set<std::string_view, TextHash> blocks_; // of `list`
    std::unordered_map<Name, Group, NameHash> groups_;
};

/// A vault in the hands of the core, which borrows its bytes.
class ReadVault {
public:
    explicit ReadVault(const VaultContents& contents)
        : contents(contents)
    {
        VLR_MemoryBlock block;
        SysToVLR(contents.bytes(), block);
        document.FromBlock(block);
    }

    const VaultContents& contents;
    VLR_Document document { VLR_DocumentReadKeepEncrypted };
};

/// The merge of two vaults that stand in an order which doesn't depend on the caller's.
class Merge {
public:
    Merge(const VaultContents& first, const VaultContents& second, const VaultContents* base)
        : first_(first)
        , second_(second)
    {
        if (base != nullptr)
            base_.emplace(*base);
    }

    NSData result()
    {
        const VLR_Synchronize merge(first_.document, second_.document, VLR_SyncMerge);
        chooseRecords();
        choosePreferences();
        VLR_Document& merged = first_.document;
        merged.openDate = std::max(first_.contents.openDate, second_.contents.openDate);
        merged.uniqueDocumentID = textOf(identity());
        merged.partnerDocumentID = textOf(partner());
        VLR_MemoryBlock written;
        merged.ToBlock(written);
        return VLRToSys(written);
    }

private:
    /// The core's merge leaves each side its own version of a record that both have: one of them is chosen here. What
    /// stands several times on a side, in different versions, stays so.
    void chooseRecords()
    {
        const Versions ofFirst(first_.document);
        const Versions ofSecond(second_.document);
        std::optional<Versions> ofBase;
        if (base_)
            ofBase.emplace(base_->document);
        const auto isInBase = [&](const std::string& block) { return ofBase && ofBase->has(block); };

        VLR_Array<VLR_PasswordData> chosen;
        for (const Versions::Version& ours : ofFirst.list) {
            const bool isOnly = ofFirst.only(*ours.record) != nullptr;
            const Versions::Version* const theirs = isOnly ? ofSecond.only(*ours.record) : nullptr;
            const bool wins = theirs == nullptr
                || firstWins(ours.block, theirs->block, isInBase(ours.block), isInBase(theirs->block));
            chosen.AppendObject(wins ? ours.record : theirs->record);
        }
        for (const Versions::Version& theirs : ofSecond.list) {
            const bool wasChosenFrom
                = ofSecond.only(*theirs.record) != nullptr && ofFirst.only(*theirs.record) != nullptr;
            if (!wasChosenFrom && !ofFirst.has(theirs.block))
                chosen.AppendObject(theirs.record);
        }
        first_.document.recordList = chosen;
    }

    bool secondsChangeWins(std::string_view first, std::string_view second, std::string_view base) const
    {
        return !firstWins(first, second, base_ && first == base, base_ && second == base);
    }

    void choosePreferences()
    {
        const auto settings
            = [](const VaultContents& vault) { return vault.preferences.substr(kSettingsInPreferences); };
        const std::string_view ofBase = base_ ? settings(base_->contents) : std::string_view();
        const bool takeSecond = secondsChangeWins(settings(first_.contents), settings(second_.contents), ofBase);
        const ReadVault& from = takeSecond ? second_ : first_;
        VLR_Document& to = first_.document;
        to.documentStamp = from.document.documentStamp;
        to.sortParams = from.document.sortParams;
        to.documentFlagA = from.document.documentFlagA;
        to.documentFlagB = from.document.documentFlagB;
        to.documentFlagC = from.document.documentFlagC;
        // From the bytes: a setting of the user's may have overridden it in the document.
        to.documentFlagOverridable = static_cast<int8_t>(from.contents.preferences[kOverridableFlagInPreferences]);
        to.backgroundColor = from.document.backgroundColor;
        to.documentRect = from.document.documentRect;
    }

    std::string identity() const
    {
        const std::string_view first = first_.contents.identity;
        const std::string_view second = second_.contents.identity;
        if (first == second && !first.empty())
            return std::string(first);
        if (base_ && !base_->contents.identity.empty())
            return std::string(base_->contents.identity);
        if (first.empty() && second.empty())
            return madeIdentity();
        return std::string(first.empty() || (!second.empty() && second < first) ? second : first);
    }

    /// For vaults that have none: the same for the same two.
    std::string madeIdentity() const
    {
        std::array<uint64_t, 2> halves {};
        for (std::size_t half = 0; half < halves.size(); ++half) {
            VLR_SipHash hash(half, 0);
            for (const ReadVault* const vault : { &first_, &second_ }) {
                const NSData& bytes = vault->contents.bytes();
                hash.Add(bytes.bytes(), static_cast<uint32_t>(bytes.length()));
            }
            halves[half] = hash.Finish();
        }
        std::array<char, 37> text {};
        std::snprintf(text.data(), text.size(), "%08X-%04X-8%03X-%04X-%012llX", static_cast<unsigned>(halves[0] >> 32),
            static_cast<unsigned>(halves[0] >> 16 & 0xFFFF), static_cast<unsigned>(halves[0] & 0xFFF),
            static_cast<unsigned>(halves[1] >> 48 & 0x3FFF) | 0x8000u,
            static_cast<unsigned long long>(halves[1] & 0xFFFFFFFFFFFF));
        return text.data();
    }

    std::string partner() const
    {
        const std::string_view ofBase = base_ ? base_->contents.partner : std::string_view();
        const bool takeSecond = secondsChangeWins(first_.contents.partner, second_.contents.partner, ofBase);
        return std::string(takeSecond ? second_.contents.partner : first_.contents.partner);
    }

    ReadVault first_;
    ReadVault second_;
    std::optional<ReadVault> base_;
};

bool losesRecords(const VaultContents& vault)
{
    return std::any_of(
        vault.damage.begin(), vault.damage.end(), [](const VaultDamage& damage) { return damage.losesRecord(); });
}

} // namespace

NSData mergeVaults(const VaultContents& a, const VaultContents& b, const VaultContents* base)
{
    if (a.referenceBuffer != b.referenceBuffer)
        throw CommandFailure(kRefused, "the master passwords differ");
    const bool areInOrder = viewOf(a.bytes()) <= viewOf(b.bytes());
    try {
        return Merge(areInOrder ? a : b, areInOrder ? b : a, base).result();
    } catch (const VLR_Exception& exception) {
        VLR_RethrowShortageOfMemory();
        throw CommandFailure(kFailed,
            "the vaults can't be merged, and nothing was written: " + wordsOf(exception)
                + (losesRecords(a) || losesRecords(b) ? " (check --repair saves what is whole)" : ""));
    }
}
