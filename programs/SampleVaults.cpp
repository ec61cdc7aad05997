#include "SampleVaults.h"

#include "VLR_System.h"
#include "VLR_Utility.h"

#include <algorithm>
#include <cctype>
#include <random>
#include <string>

namespace {

VLR_String text(const std::string& utf8)
{
    return VLR_String(utf8.c_str(), VLR_CharacterSetUTF8);
}

/// A side of a pair while it is being made. Its edits go through the setters and so do the accounting of real ones.
class Side {
public:
    static constexpr uint32_t kCommonPast = 780000000; // in September 2025

    explicit Side(const char* identity)
        : document(std::make_unique<VLR_Document>(VLR_DocumentReadDecrypted))
    {
        document->ChangePassword(sampleMasterPassword());
        document->uniqueDocumentID = text(identity);
    }

    /// A record as both sides know it from their common past.
    VLR_PasswordData* add(const std::string& uuid, const std::string& title, const std::string& category,
        const std::string& userName, const std::string& notes = {})
    {
        auto* const record = new VLR_PasswordData(document.get());
        document->AddNewPasswordData(record);
        record->SetUUID(VLR_String()); // a record without identity takes its texts without leaving a deletion
        record->SetTitle(text(title));
        record->SetCategory(text(category));
        record->SetUsername(text(userName));
        record->SetPassword(text("pw-" + uuid));
        record->SetURL(text("https://" + userName + ".example/"));
        record->SetNotes(text(notes));
        record->SetUUID(text(uuid));
        record->SetModifiedDate(kCommonPast); // not now: the sides are made one after the other
        record->SetLastUsedDate(kCommonPast);
        record->SetChangedSinceSync(0);
        return record;
    }

    VLR_PasswordData* find(const std::string& uuid)
    {
        const VLR_String wanted = text(uuid);
        for (uint32_t i = 0; i < document->recordList.Count(); ++i) {
            VLR_PasswordData* const record = document->recordList.ObjectAtIndex(i);
            if (record->UUID().Compare(&wanted) == 0)
                return record;
        }
        return nullptr;
    }

    void edit(const std::string& uuid, const std::string& newTitle) { find(uuid)->SetTitle(text(newTitle)); }
    void remove(const std::string& uuid) { document->RemovePasswordData(find(uuid)); }

    /// A change of category that kept the identity, as older programs made it.
    void moveUnnoticed(const std::string& uuid, const std::string& newCategory)
    {
        VLR_PasswordData* const record = find(uuid);
        record->SetUUID(VLR_String());
        record->SetCategory(text(newCategory));
        record->SetUUID(text(uuid));
    }

    std::unique_ptr<VLR_Document> document;
};

constexpr char kFirstIdentity[] = "11111111-1111-4111-8111-111111111111";
constexpr char kSecondIdentity[] = "22222222-2222-4222-8222-222222222222";

std::string numberedUUID(const char* form, uint32_t number)
{
    const VLR_String hex = VLR_Utility::UInt32AsHex(number);
    std::string digits(reinterpret_cast<const char*>(hex.Bytes()), hex.Length());
    std::transform(digits.begin(), digits.end(), digits.begin(), ::toupper);
    return form + digits;
}

std::string smallUUID(uint32_t number)
{
    return numberedUUID("5A3B1E00-0000-4000-8000-0000", number);
}

void addCommonPast(Side& side)
{
    side.add(smallUUID(1), "Mail", "Private", "alice");
    side.add(smallUUID(2), "Deleted on the stick", "Private", "bakery");
    side.add(smallUUID(3), "Deleted on the laptop", "Shops", "cinema");
    side.add(smallUUID(4), "Edited on the laptop", "Shops", "dentist");
    side.add(smallUUID(5), "Edited on the stick", "Work", "exchange");
    side.add(smallUUID(6), "Edited on both", "Work", "forum");
    side.add(smallUUID(7), "Edited on the laptop, deleted on the stick", "Work", "garage");
    side.add(smallUUID(8), "In two categories", "Private", "hotel");
    side.add(smallUUID(9), "Listed as deleted, but here on both", "Shops", "insurance");
}

// Large pairs

class LargePairText {
public:
    explicit LargePairText(uint64_t seed)
        : random(seed)
    {
    }

    std::string letters(std::size_t length)
    {
        std::string result(length, ' ');
        for (char& c : result)
            c = kLetters[random() % (sizeof kLetters - 1)];
        return result;
    }

    std::string uuid()
    {
        static constexpr char kDigits[] = "0123456789ABCDEF";
        std::string result = "xxxxxxxx-xxxx-4xxx-8xxx-xxxxxxxxxxxx";
        for (char& c : result) {
            if (c == 'x')
                c = kDigits[random() % 16];
        }
        return result;
    }

private:
    static constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz     ";
    std::mt19937_64 random;
};

enum class Edited {
    Nowhere,
    OnFirst,
    OnSecond
};

Edited whereEdited(uint32_t index)
{
    switch (index % 100) {
    case 17: return Edited::OnFirst;
    case 71: return Edited::OnSecond;
    default: return Edited::Nowhere;
    }
}

/// The record of one index, the same on both sides but for the edits. Each of the texts is drawn, edited or not, so
/// that both sides draw alike.
void addLargeRecord(Side& side, LargePairText& random, uint32_t index, bool edited)
{
    static constexpr const char* kCategories[] = { "Private", "Work", "Shops", "Travel", "" };
    const std::string uuid = random.uuid();
    const std::string uuidAfterEdit = random.uuid();
    const std::string notes = random.letters(120);
    side.add(uuid, "Account " + std::to_string(index), kCategories[index % 5], random.letters(12), notes);
    if (!edited)
        return;
    VLR_PasswordData* const record = side.document->recordList.ObjectAtIndex(side.document->recordList.Count() - 1);
    record->SetNotes(text(notes + " edited"));
    record->SetUUID(text(uuidAfterEdit));
}

std::unique_ptr<VLR_Document> makeLargeSide(
    uint32_t count, uint64_t seed, Edited here, const char* identity, const std::function<void()>& madeOne)
{
    Side side(identity);
    LargePairText random(seed);
    for (uint32_t i = 0; i < count; ++i) {
        addLargeRecord(side, random, i, whereEdited(i) == here);
        madeOne();
    }
    return std::move(side.document);
}

} // namespace

VLR_String sampleMasterPassword()
{
    return VLR_String("open sesame", VLR_CharacterSetUTF8);
}

SampleVaults makeSmallPair()
{
    Side first(kFirstIdentity);
    Side second(kSecondIdentity);
    addCommonPast(first);
    addCommonPast(second);

    first.add(smallUUID(10), "New on the laptop", "Travel", "journeys");
    second.add(smallUUID(11), "New on the stick", "Travel", "kiosk");
    second.remove(smallUUID(2));
    first.remove(smallUUID(3));
    first.edit(smallUUID(4), "Edited on the laptop (new)");
    second.edit(smallUUID(5), "Edited on the stick (new)");
    first.edit(smallUUID(6), "Edited on both (the laptop's)");
    second.edit(smallUUID(6), "Edited on both (the stick's)");
    first.edit(smallUUID(7), "Edited on the laptop, deleted on the stick (new)");
    second.remove(smallUUID(7));
    second.moveUnnoticed(smallUUID(8), "Travel");
    first.document->AddDeletedUUID(text(smallUUID(9)), 0);

    return { std::move(first.document), std::move(second.document) };
}

SampleVaults makeLargePair(uint32_t count, uint64_t seed, const std::function<void()>& madeOne)
{
    return { makeLargeSide(count, seed, Edited::OnFirst, kFirstIdentity, madeOne),
        makeLargeSide(count, seed, Edited::OnSecond, kSecondIdentity, madeOne) };
}
