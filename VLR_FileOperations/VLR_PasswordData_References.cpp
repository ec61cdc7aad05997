#include "VLR_PasswordData.h"

#include "VLR_Document.h"
#include "VLR_Exception.h"
#include "VLR_System.h"
#include "VLR_TextIndex.h"

#include <deque>

namespace {

constexpr char kReferenceFormat[] = "[:%@:]";
constexpr char kTitlePlace[] = "%@";

// No text that people write comes near these; they end what would take for ever or fill the memory.
constexpr uint64_t kLongestField = 1u << 24; // bytes of one text
constexpr uint64_t kMostWork = 1u << 29; // bytes looked at in one resolution
constexpr uint64_t kMostRewriting = 1u << 25; // bytes of fields rewritten again in one renaming

constexpr uint32_t kShortestReference = 5; // "[:", a letter, ":]"

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

/// An upper limit of the text's length once each match of `reference` has given way to `value`.
uint64_t LengthAfterReplacing(VLR_String& text, const VLR_String& reference, const VLR_String& value)
{
    const uint64_t withMostMatches = text.Length() + uint64_t { text.Length() } / kShortestReference * value.Length();
    if (withMostMatches <= kLongestField)
        return withMostMatches;
    VLR_PodBlock<VLR_Range> matches;
    uint64_t length = text.Length();
    const uint32_t count = text.FindAllRanges(reference, matches);
    for (uint32_t i = 0; i < count; ++i)
        length += value.Length() - uint64_t { matches.Values()[i].length }; // a unit has a byte at least
    return length;
}

/// One record whose field is being resolved, and the reference in it that waits for its value.
struct Resolution {
    VLR_PasswordData* record;
    VLR_String result;
    VLR_String pending;
};

} // namespace

/// Resolves one field with all that it refers to, in depth, without a call inside a call: a chain of references may be
/// as long as the vault.
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
            VLR_PasswordData* const target = name.IsEmpty() ? nullptr : current.record->Document()->FindTitle(name);
            if (target != nullptr) {
                current.pending = ReferenceTo(name);
                Enter(*target);
                continue;
            }
            VLR_String value;
            value.Exchange(current.result);
            open.pop_back();
            if (open.empty())
                return value;
            TakeValue(open.back(), value);
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

    /// Raises: code VLR_ExceptionCancelled for texts that double themselves from record to record, and for more of them
    /// than could be looked at.
    void TakeValue(Resolution& resolution, VLR_String& value)
    {
        work += uint64_t { resolution.result.Length() } + value.Length();
        if (work > kMostWork || LengthAfterReplacing(resolution.result, resolution.pending, value) > kLongestField)
            VLR_RAISE_CODE(VLR_ExceptionCancelled);
        if (IsOnlyReference(resolution) && (value.IsEmpty() || VLR_System::LengthOfString(value) > 0))
            resolution.result.Exchange(value);
        else
            resolution.result.ReplaceAll(resolution.pending, value);
    }

    /// Text that is not valid is never found, and as a value ends where it is not; it takes the long way.
    static bool IsOnlyReference(const Resolution& resolution)
    {
        return resolution.result.VLR_MemoryBlock::Compare(&resolution.pending) == 0
            && VLR_System::LengthOfString(resolution.result) > 0;
    }

    const bool username;
    uint64_t work = 0;
    VLR_Array<VLR_PasswordData>& visited;
    VLR_TextIndex visitedTitles;
    std::deque<Resolution> open; // innermost last
};

namespace {

/// Puts a new reference in the place of an old one.
class ReferenceRewriter {
public:
    ReferenceRewriter(const VLR_String& oldReference, const VLR_String& newReference)
        : oldReference(oldReference)
        , newReference(newReference)
        , onceIsEnough(newReference.Contains(oldReference)) // in whatever case: it would be found for ever
        , whileSearching(oldReference)
    {
    }

    void Rewrite(VLR_PasswordData& record, const VLR_String& field, void (VLR_PasswordData::*set)(const VLR_String&))
    {
        VLR_String text(field);
        for (bool again = false; text.Contains(oldReference); again = true) {
            if (again && (onceIsEnough || (rewrittenAgain += text.Length()) > kMostRewriting))
                return;
            text.ReplaceAll(oldReference, newReference);
            (record.*set)(text);
            record.SetChangedSinceSync(1);
        }
    }

private:
    const VLR_String& oldReference;
    const VLR_String& newReference;
    const bool onceIsEnough;
    const StVLR_AutoSystemRepresentation whileSearching;
    uint64_t rewrittenAgain = 0; // bytes
};

} // namespace

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
    ReferenceRewriter rewriter(oldReference, newReference);
    const VLR_Array<VLR_PasswordData>& records = document_->recordList;
    for (uint32_t i = 0; i < records.Count(); ++i) {
        VLR_PasswordData& record = *records.ObjectAtIndex(i);
        rewriter.Rewrite(record, record.Username(), &VLR_PasswordData::SetUsername);
        rewriter.Rewrite(record, record.Password(), &VLR_PasswordData::SetPassword);
    }
    if (applyTitle)
        SetTitle(title);
}
