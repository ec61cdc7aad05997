// What a front end does with 100,000 deciphered records, each against something plain measured in the same run.
// Usage: document-bench [RECORDS]

#include "Measure.h"
#include "SampleRecords.h"
#include "VLR_System.h"

#include <unicode/ucasemap.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <numeric>
#include <string>
#include <string_view>
#include <vector>

namespace {

using Measure::best;
using Measure::Goal;
using Measure::report;
using Records = SampleRecords;

const auto text = SampleRecords::text;

constexpr const VLR_String& (VLR_PasswordData::*kTexts[])() const = { &VLR_PasswordData::Title,
    &VLR_PasswordData::Category, &VLR_PasswordData::Browser, &VLR_PasswordData::URL, &VLR_PasswordData::Username,
    &VLR_PasswordData::UsernameLabel, &VLR_PasswordData::Password, &VLR_PasswordData::PasswordLabel,
    &VLR_PasswordData::Notes };

unsigned char lower(unsigned char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<unsigned char>(c + 32) : c;
}

/// The plain scan: ASCII letters folded, nothing else looked at.
bool scan(const VLR_String& in, const std::string& wanted)
{
    const unsigned char* const end = in.Bytes() + in.Length();
    return std::search(in.Bytes(), end, wanted.begin(), wanted.end(), [](unsigned char a, char b) {
        return lower(a) == static_cast<unsigned char>(b);
    }) != end;
}

// The other plain ways: each text folded by ICU as the search comes to it. They do less, as they know nothing of
// equivalent spellings.

/// As its strings offer it.
class FoldedStrings {
public:
    explicit FoldedStrings(const char* wanted)
        : folded(icu::UnicodeString::fromUTF8(wanted).foldCase())
    {
    }

    bool areIn(const VLR_String& text)
    {
        const icu::StringPiece bytes(reinterpret_cast<const char*>(text.Bytes()), static_cast<int32_t>(text.Length()));
        return icu::UnicodeString::fromUTF8(bytes).foldCase().indexOf(folded) >= 0;
    }

private:
    const icu::UnicodeString folded;
};

/// From bytes to bytes, all in one buffer.
class FoldedBytes {
public:
    explicit FoldedBytes(const char* wanted)
        : map(ucasemap_open("", U_FOLD_CASE_DEFAULT, &error))
        , folded(fold(wanted))
    {
    }
    ~FoldedBytes() { ucasemap_close(map); }
    FoldedBytes(const FoldedBytes&) = delete;
    FoldedBytes& operator=(const FoldedBytes&) = delete;

    bool areIn(const VLR_String& text)
    {
        const std::string_view bytes(reinterpret_cast<const char*>(text.Bytes()), text.Length());
        return fold(bytes).find(folded) != std::string_view::npos;
    }

private:
    std::string_view fold(std::string_view utf8)
    {
        buffer.resize(std::max(buffer.size(), 3 * utf8.size())); // no text grows more
        const int32_t length = ucasemap_utf8FoldCase(map, buffer.data(), static_cast<int32_t>(buffer.size()),
            utf8.data(), static_cast<int32_t>(utf8.size()), &error);
        return std::string_view(buffer).substr(0, static_cast<std::size_t>(length));
    }

    UErrorCode error = U_ZERO_ERROR;
    UCaseMap* map;
    std::string buffer;
    const std::string folded;
};

/// Answers how many times faster than `other` we are.
template <class Folded>
double reportAgainst(Folded&& other, const char* name, const char* what, double ours, VLR_Document& document)
{
    uint32_t hits = 0;
    const double theirs = best([] {},
        [&] {
            hits = 0;
            for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
                const VLR_PasswordData& record = *document.recordList.ObjectAtIndex(i);
                hits += std::any_of(
                    std::begin(kTexts), std::end(kTexts), [&](auto field) { return other.areIn((record.*field)()); });
            }
        },
        /*rounds=*/3);
    std::printf(
        "%-34s %9.2f ms  %-30s %9.2f ms  %6.2f  times faster", what, ours * 1e3, name, theirs * 1e3, theirs / ours);
    if (hits != document.viewableList.Count())
        std::printf(", but found %u, ICU %u", document.viewableList.Count(), hits);
    return theirs / ours;
}

void reportAgainstFolding(const char* what, double ours, VLR_Document& document, const char* wanted)
{
    constexpr double kTimesFaster = 6.0;
    const double faster = reportAgainst(FoldedStrings(wanted), "ICU folding of each text", what, ours, document);
    std::printf(", at least %.0f  %s\n", kTimesFaster, faster >= kTimesFaster ? "ok" : "MISSED");
    reportAgainst(FoldedBytes(wanted), "  the same in one buffer", what, ours, document);
    std::printf("\n");
}

void benchFind(Records& records)
{
    VLR_Document& document = records.document;
    for (const char* const wanted : { "zebra", "ab", "mask", "interchangeable" }) {
        const std::string lowered = wanted;
        const VLR_String searched = text(wanted);
        uint32_t hits = 0;
        const double plain = best([] {},
            [&] {
                hits = 0;
                for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
                    const VLR_PasswordData& record = *document.recordList.ObjectAtIndex(i);
                    hits += std::any_of(std::begin(kTexts), std::end(kTexts),
                        [&](auto field) { return scan((record.*field)(), lowered); });
                }
            });
        const double ours = best([] {}, [&] { document.FindContains(searched, false); });
        const std::string what
            = std::string("find \"") + wanted + "\" (" + std::to_string(document.viewableList.Count()) + " hits)";
        report(what.c_str(), ours, "plain ASCII caseless scan", plain, Goal { 2.0 });
        reportAgainstFolding(what.c_str(), ours, document, wanted);
    }
    document.FindAll();
}

void benchSort(Records& records)
{
    VLR_Document& document = records.document;
    records.shuffle();
    const VLR_Array<VLR_PasswordData> shuffled(document.recordList);
    const double plain = best([] {},
        [&] {
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
    const auto measure = [&](const char* what, VLR_SortField field, bool sameOrder, Goal goal) {
        const double ours = best(
            [&] {
                document.recordList = shuffled;
                document.viewableList = shuffled;
                if (!sameOrder)
                    document.viewableList.RemoveObjectAtIndex(0);
                document.SetSortParams(field, false);
            },
            [&] { document.SortRecords(); });
        report(what, ours, "one sort by keys folded once", plain, goal);
    };
    measure("sort by title", VLR_SortTitle, true, Goal { 2.2 });
    measure("  with other records viewable", VLR_SortTitle, false, Goal { 2.2 });
    measure("sort by user name, then title", VLR_SortUsername, true, Goal { 4.4 });
    measure("  with other records viewable", VLR_SortUsername, false, Goal { 4.4 });
    measure("sort by modified date, then title", VLR_SortModifiedDate, false, Goal { 4.4 });
    document.FindAll();
}

void benchKeys(Records& records)
{
    VLR_Document& document = records.document;
    document.FindAll();
    document.select.RebuildTypeAheadIndex();
    const VLR_String typed = text("m");
    uint32_t before = 0;
    const double walk = best([] {},
        [&] {
            before = 0;
            for (uint32_t i = 0; i < document.recordList.Count(); ++i)
                before += document.recordList.ObjectAtIndex(i)->Title().CompareCaseless(&typed) < 0;
        });
    VLR_KeyEvent key;
    key.isUniChar = true;
    key.uniChar = 'z';
    key.timeStamp = 100;
    const auto nextKey = [&] { key.timeStamp += 100; };
    report("type-ahead key", best(nextKey, [&] { document.select.ProcessKeyEvent(key); }), "one walk over the titles",
        walk, Goal { 1.0 });
    VLR_KeyEvent tab;
    tab.tabKey = true;
    report("Tab", best([] {}, [&] { document.select.ProcessKeyEvent(tab); }), "one walk over the titles", walk,
        Goal { 1.0 });
}

void benchGrowth(uint32_t count)
{
    Records tenth(count / 10);
    Records whole(count);
    const auto compare = [&](const char* what, const std::function<void(VLR_Document&)>& work) {
        const double small = best([] {}, [&] { work(tenth.document); });
        report(what, best([] {}, [&] { work(whole.document); }), "for a tenth of the records", small, Goal { 20.0 });
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
    report("resolve a chain of all records", best([] {}, resolve), "a chain of a tenth", small, Goal { 20.0 });
}

} // namespace

int main(int argc, char** argv)
{
    const uint32_t count = argc > 1 ? static_cast<uint32_t>(std::strtoul(argv[1], nullptr, 10)) : 100000;
    std::printf("%u deciphered records\n", count);
    Measure::reportHeader();
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
