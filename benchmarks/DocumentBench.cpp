// What a front end does with 100,000 deciphered records, each against something plain measured in the same run.
// Usage: document-bench [RECORDS]

#include "VLR_Document.h"
#include "VLR_System.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr int kRounds = 7;
constexpr int kNonASCIIInHundred = 5;

VLR_String text(const std::string& utf8)
{
    return VLR_String(utf8.c_str(), VLR_CharacterSetUTF8);
}

/// Seconds, the best of some rounds: what disturbs only makes it slower. `prepare` is not timed.
double best(const std::function<void()>& prepare, const std::function<void()>& work)
{
    using Clock = std::chrono::steady_clock;
    double fastest = 1e9;
    for (int round = 0; round < kRounds; ++round) {
        prepare();
        const auto begin = Clock::now();
        work();
        fastest = std::min(fastest, std::chrono::duration<double>(Clock::now() - begin).count());
    }
    return fastest;
}

void report(const char* what, double ours, const char* besides, double theirs, double most)
{
    std::printf("%-34s %9.2f ms  %-30s %9.2f ms  ratio %6.2f  (at most %.1f)\n", what, ours * 1e3, besides, theirs * 1e3,
        ours / theirs, most);
}

/// Records of words, as people have them, 5 of 100 texts with characters beyond ASCII.
class Records {
public:
    explicit Records(uint32_t count)
    {
        for (uint32_t i = 0; i < count; ++i) {
            auto* const record = new VLR_PasswordData(&document);
            record->SetTitle(phrase(2));
            record->SetCategory(phrase(1));
            record->SetBrowser(phrase(1));
            record->SetURL(phrase(4));
            record->SetUsername(phrase(2));
            record->SetUsernameLabel(phrase(1));
            record->SetPassword(phrase(2));
            record->SetPasswordLabel(phrase(1));
            record->SetNotes(phrase(25));
            document.recordList.AppendObject(record);
        }
        document.FindAll();
    }

    /// The same order each time, neither sorted nor nearly so.
    void shuffle()
    {
        std::vector<uint32_t> order(document.recordList.Count());
        std::iota(order.begin(), order.end(), 0u);
        document.SetSortParams(VLR_SortTitle, false);
        document.SortRecords();
        std::shuffle(order.begin(), order.end(), std::mt19937(5));
        document.recordList.Reorder(order);
    }

    VLR_String phrase(int words)
    {
        std::string result;
        for (int i = 0; i < words; ++i) {
            result += i > 0 ? " " : "";
            for (auto n = 3 + random() % 7; n > 0; --n)
                result += static_cast<char>((random() % 9 == 0 ? 'A' : 'a') + random() % 26);
        }
        if (random() % 100 < kNonASCIIInHundred)
            result.insert(random() % result.size(), "\u00E9");
        return text(result);
    }

    VLR_Document document { VLR_DocumentReadDecrypted };

private:
    std::mt19937 random { 7 };
};

constexpr const VLR_String& (VLR_PasswordData::*kTexts[])() const = { &VLR_PasswordData::Title, &VLR_PasswordData::Category,
    &VLR_PasswordData::Browser, &VLR_PasswordData::URL, &VLR_PasswordData::Username, &VLR_PasswordData::UsernameLabel,
    &VLR_PasswordData::Password, &VLR_PasswordData::PasswordLabel, &VLR_PasswordData::Notes };

unsigned char lower(unsigned char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + 32) : c;
}

/// The plain scan: ASCII letters folded, nothing else looked at.
bool scan(const VLR_String& in, const std::string& wanted)
{
    const unsigned char* const end = in.Bytes() + in.Length();
    return std::search(in.Bytes(), end, wanted.begin(), wanted.end(),
               [](unsigned char a, char b) { return lower(a) == static_cast<unsigned char>(b); })
        != end;
}

void benchFind(Records& records)
{
    VLR_Document& document = records.document;
    for (const char* const wanted : { "zebra", "ab", "interchangeable" }) {
        const std::string lowered = wanted;
        const VLR_String searched = text(wanted);
        uint32_t hits = 0;
        const double plain = best([] {}, [&] {
            hits = 0;
            for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
                const VLR_PasswordData& record = *document.recordList.ObjectAtIndex(i);
                hits += std::any_of(std::begin(kTexts), std::end(kTexts),
                    [&](auto field) { return scan((record.*field)(), lowered); });
            }
        });
        const double ours = best([] {}, [&] { document.FindContains(searched, false); });
        const std::string what = std::string("find \"") + wanted + "\" ("
            + std::to_string(document.viewableList.Count()) + " hits)";
        report(what.c_str(), ours, "plain ASCII caseless scan", plain, 2.0);
    }
    document.FindAll();
}

void benchSort(Records& records)
{
    VLR_Document& document = records.document;
    records.shuffle();
    const VLR_Array<VLR_PasswordData> shuffled(document.recordList);
    const double plain = best([] {}, [&] {
        std::vector<std::string> keys(shuffled.Count());
        for (uint32_t i = 0; i < shuffled.Count(); ++i) {
            VLR_MemoryBlock key;
            VLR_System::AppendComparisonKey(shuffled.ObjectAtIndex(i)->Title(), VLR_StringComparisonCaseless, key);
            keys[i].assign(reinterpret_cast<const char*>(key.Bytes()), key.Length());
        }
        std::vector<uint32_t> order(keys.size());
        std::iota(order.begin(), order.end(), 0u);
        std::stable_sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) { return keys[a] < keys[b]; });
    });
    const auto measure = [&](const char* what, VLR_SortField field, bool sameOrder, double most) {
        const double ours = best(
            [&] {
                document.recordList = shuffled;
                document.viewableList = shuffled;
                if (!sameOrder)
                    document.viewableList.RemoveObjectAtIndex(0);
                document.SetSortParams(field, false);
            },
            [&] { document.SortRecords(); });
        report(what, ours, "one sort by keys folded once", plain, most);
    };
    measure("sort by title", VLR_SortTitle, true, 2.2);
    measure("  with other records viewable", VLR_SortTitle, false, 2.2);
    measure("sort by user name, then title", VLR_SortUsername, true, 4.4);
    measure("  with other records viewable", VLR_SortUsername, false, 4.4);
    measure("sort by modified date, then title", VLR_SortModifiedDate, false, 4.4);
    document.FindAll();
}

void benchKeys(Records& records)
{
    VLR_Document& document = records.document;
    document.FindAll();
    document.select.RebuildTypeAheadIndex();
    const VLR_String typed = text("m");
    uint32_t before = 0;
    const double walk = best([] {}, [&] {
        before = 0;
        for (uint32_t i = 0; i < document.recordList.Count(); ++i)
            before += document.recordList.ObjectAtIndex(i)->Title().CompareCaseless(&typed) < 0;
    });
    VLR_KeyEvent key;
    key.isUniChar = true;
    key.uniChar = 'z';
    key.timeStamp = 100;
    const auto nextKey = [&] { key.timeStamp += 100; };
    report("type-ahead key", best(nextKey, [&] { document.select.ProcessKeyEvent(key); }), "one walk over the titles", walk,
        1.0);
    VLR_KeyEvent tab;
    tab.tabKey = true;
    report("Tab", best([] {}, [&] { document.select.ProcessKeyEvent(tab); }), "one walk over the titles", walk, 1.0);
}

void benchGrowth(uint32_t count)
{
    Records tenth(count / 10);
    Records whole(count);
    const auto compare = [&](const char* what, const std::function<void(VLR_Document&)>& work) {
        const double small = best([] {}, [&] { work(tenth.document); });
        report(what, best([] {}, [&] { work(whole.document); }), "for a tenth of the records", small, 20.0);
    };
    compare("harvest the categories", [](VLR_Document& document) { document.categories.Harvest(); });
    compare("search for duplicates", [](VLR_Document& document) { document.LatchDuplicates(false); });
}

void benchReferences(uint32_t count)
{
    Records records(0);
    VLR_Document& document = records.document;
    const auto make = [&](uint32_t n) {
        document.ResetDocumentContents();
        for (uint32_t i = 0; i < n; ++i) {
            auto* const record = new VLR_PasswordData(&document);
            record->SetTitle(text(std::to_string(i)));
            record->SetPassword(text(i + 1 < n ? "[:" + std::to_string(i + 1) + ":]" : "end"));
            document.recordList.AppendObject(record);
        }
    };
    const auto resolve = [&] { document.recordList.ObjectAtIndex(0)->ResolvedField(false); };
    make(count / 10);
    const double small = best([] {}, resolve);
    make(count);
    report("resolve a chain of all records", best([] {}, resolve), "a chain of a tenth", small, 20.0);
}

} // namespace

int main(int argc, char** argv)
{
    const uint32_t count = argc > 1 ? static_cast<uint32_t>(std::strtoul(argv[1], nullptr, 10)) : 100000;
    std::printf("%u deciphered records\n", count);
    {
        Records records(count);
        benchFind(records);
        benchSort(records);
        benchKeys(records);
    }
    benchGrowth(count);
    benchReferences(count);
    return 0;
}
