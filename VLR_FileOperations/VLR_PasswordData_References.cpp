#include "VLR_PasswordData.h"

#include "VLR_Document.h"
#include "VLR_Exception.h"
#include "VLR_System.h"
#include "VLR_TextIndex.h"

#include <deque>

namespace {

constexpr char kReferenceFormat[] = "[:%@:]";
constexpr char kTitlePlace[] = "%@";

// No text that people write comes near either; they end what would go on for ever.
constexpr uint32_t kLongestResolvedField = 1u << 24; // bytes
constexpr uint32_t kMostRewrites = 1000; // of one field in one renaming

VLR_String Text(const char* utf8)
{
    return VLR_String(utf8, VLR_CharacterSetUTF8);
}

VLR_String ReferenceTo(const VLR_String& name)
{
    VLR_String reference = Text("[:");
    reference.Append(name);
    reference.Append(Text(":]"));
    return reference;
}

/// The reference as a renaming builds it.
VLR_String FormattedReferenceTo(const VLR_String& title)
{
    VLR_String reference = Text(kReferenceFormat);
    reference.ReplaceAll(Text(kTitlePlace), title);
    return reference;
}

/// Raises: code VLR_ExceptionCancelled for a text that doubles itself from record to record.
void ReplaceReference(VLR_String& text, const VLR_String& reference, const VLR_String& value)
{
    const uint64_t mostMatches = text.Length() / reference.Length() + 1;
    if (text.Length() + mostMatches * value.Length() > kLongestResolvedField) {
        VLR_PodBlock<VLR_Range> ranges;
        if (text.Length() + uint64_t { text.FindAllRanges(reference, ranges) } * value.Length() > kLongestResolvedField)
            VLR_RAISE_CODE(VLR_ExceptionCancelled);
    }
    text.ReplaceAll(reference, value);
}

/// One record whose field is being resolved, and the reference in it that waits for its value.
struct Resolution {
    VLR_PasswordData* record;
    VLR_String result;
    VLR_String pending;
};

} // namespace

/// Resolves one field with all that it refers to, in depth, without a call inside a call: a chain of references may be as
/// long as the vault.
class VLR_FieldResolver {
public:
    VLR_FieldResolver(bool username, VLR_Array<VLR_PasswordData>& visited)
        : username(username)
        , visited(visited)
        , visitedTitles(VLR_StringComparisonExact, visited.Count())
    {
        for (uint32_t i = 0; i < visited.Count(); ++i)
            visitedTitles.Add(visited.ObjectAtIndex(i)->Title(), visited.ObjectAtIndex(i));
    }

    VLR_String Resolve(VLR_PasswordData& first)
    {
        Enter(first);
        for (;;) {
            Resolution& current = open.back();
            const VLR_String name = current.result.ExtractBetween(Text("[:"), Text(":]"));
            VLR_PasswordData* const target
                = name.IsEmpty() ? nullptr : current.record->Document()->FindTitle(name);
            if (target != nullptr) {
                current.pending = ReferenceTo(name);
                Enter(*target);
                continue;
            }
            const VLR_String value = current.result;
            open.pop_back();
            if (open.empty())
                return value;
            ReplaceReference(open.back().result, open.back().pending, value);
        }
    }

private:
    /// By title: of two records with one title, the second counts as visited once the first is.
    void Enter(VLR_PasswordData& record)
    {
        if (visitedTitles.Find(record.Title()) != nullptr)
            VLR_RAISE_CODE(VLR_ExceptionCancelled);
        visited.AppendObject(&record);
        visitedTitles.Add(record.Title(), &record);
        open.push_back({ &record, username ? record.Username() : record.Password(), VLR_String() });
    }

    const bool username;
    VLR_Array<VLR_PasswordData>& visited;
    VLR_TextIndex visitedTitles;
    std::deque<Resolution> open; // innermost last
};

VLR_String VLR_PasswordData::ResolvedField(bool username)
{
    const StVLR_Retained whileResolving(*this); // it may be in no other list
    VLR_Array<VLR_PasswordData> visited;
    return ResolveField(username, visited);
}

VLR_String VLR_PasswordData::ResolveField(bool username, VLR_Array<VLR_PasswordData>& visited)
{
    return VLR_FieldResolver(username, visited).Resolve(*this);
}

void VLR_PasswordData::UpdateReverseReferencesToNewTitle(const VLR_String& newTitle, bool applyTitle)
{
    if (Title().Compare(&newTitle) == 0)
        return;
    const VLR_String title(newTitle); // it may be a field that changes on the way
    const VLR_String oldReference = FormattedReferenceTo(Title());
    const VLR_String newReference = FormattedReferenceTo(title);
    // Where the new reference holds the old one, in whatever case, one rewriting leaves nothing else to do.
    const uint32_t mostRewrites = newReference.Contains(oldReference) ? 1 : kMostRewrites;
    const StVLR_AutoSystemRepresentation whileSearching(oldReference);
    const auto rewrite = [&](VLR_PasswordData& record, const VLR_String& field, auto set) {
        VLR_String copy(field);
        for (uint32_t i = 0; i < mostRewrites && copy.Contains(oldReference); ++i) {
            ReplaceReference(copy, oldReference, newReference);
            (record.*set)(copy);
            record.SetChangedSinceSync(1);
        }
    };
    const VLR_Array<VLR_PasswordData>& records = document_->recordList;
    for (uint32_t i = 0; i < records.Count(); ++i) {
        VLR_PasswordData& record = *records.ObjectAtIndex(i);
        rewrite(record, record.Username(), &VLR_PasswordData::SetUsername);
        rewrite(record, record.Password(), &VLR_PasswordData::SetPassword);
    }
    if (applyTitle)
        SetTitle(title);
}
