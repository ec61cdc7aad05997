#include "SampleRecords.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace {

constexpr int kNonASCIIInHundred = 5;

} // namespace

SampleRecords::SampleRecords(uint32_t count)
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

void SampleRecords::shuffle()
{
    std::vector<uint32_t> order(document.recordList.Count());
    std::iota(order.begin(), order.end(), 0u);
    document.SetSortParams(VLR_SortTitle, false);
    document.SortRecords();
    std::shuffle(order.begin(), order.end(), std::mt19937(5));
    document.recordList.Reorder(order);
}

VLR_String SampleRecords::phrase(int words)
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
