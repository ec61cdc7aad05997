#include "VLR_Categories.h"

#include "VLR_Comparator.h"
#include "VLR_Document.h"
#include "VLR_TextIndex.h"
#include "VLR_TextRepresentations.h"

#include <memory>

void VLR_Categories::Harvest()
{
    names.RemoveAll();
    VLR_TextIndex known(VLR_StringComparisonExact, 0);
    for (uint32_t i = 0; i < document->recordList.Count(); ++i) {
        const VLR_String& category = document->recordList.ObjectAtIndex(i)->Category();
        if (category.IsEmpty() || known.Find(category) != nullptr)
            continue;
        auto name = std::make_unique<VLR_String>(category);
        names.AppendObject(name.get());
        VLR_String* const listed = name.release(); // the list's now
        known.Add(*listed, listed);
    }
    StVLR_TextRepresentations whileSorting;
    for (uint32_t i = 0; i < names.Count(); ++i)
        whileSorting.Keep(*names.ObjectAtIndex(i));
    names.Sort(VLR_StringComparatorCaseInsensitive());
}

void VLR_Categories::RenameCategory(const VLR_String& from, const VLR_String& to)
{
    const VLR_String oldName(from); // both may be the category of a record that changes
    const VLR_String newName(to); // NOLINT(performance-unnecessary-copy-initialization)
    for (uint32_t i = 0; i < document->recordList.Count(); ++i) {
        VLR_PasswordData& record = *document->recordList.ObjectAtIndex(i);
        if (record.Category().Compare(&oldName) == 0)
            record.ReplaceCategoryName(newName);
    }
}
