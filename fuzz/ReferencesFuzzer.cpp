#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "VLR_Document.h"

#include <vector>

// References between a few records: resolved as a literal reading of the rules resolves them, call by call; and renamed
// so that nobody refers to the old title any more.

namespace {

struct Titles {
    std::vector<VLR_String> visited;

    bool hold(const VLR_String& title) const
    {
        for (const VLR_String& other : visited) {
            if (other.Compare(&title) == 0)
                return true;
        }
        return false;
    }
};

struct TooLarge { };

const VLR_PasswordData* recordOf(const VLR_Document& document, const VLR_String& title)
{
    for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
        if (document.recordList.ObjectAtIndex(i)->Title().Compare(&title) == 0)
            return document.recordList.ObjectAtIndex(i);
    }
    return nullptr;
}

/// Raises the core's exceptions where the core does, and TooLarge for what takes too long.
VLR_String resolved(const VLR_Document& document, const VLR_PasswordData& record, bool username, Titles& titles)
{
    if (titles.hold(record.Title()))
        VLR_RAISE_CODE(VLR_ExceptionCancelled);
    titles.visited.push_back(record.Title());
    VLR_String text = username ? record.Username() : record.Password();
    for (;;) {
        const VLR_String title = text.ExtractBetween(textOf("[:"), textOf(":]"));
        const VLR_PasswordData* const target = title.IsEmpty() ? nullptr : recordOf(document, title);
        if (target == nullptr)
            return text;
        const VLR_String value = resolved(document, *target, username, titles);
        if (uint64_t { text.Length() } * (value.Length() + 1) > 1u << 18)
            throw TooLarge();
        text.ReplaceAll(textOf("[:" + bytesOf(title) + ":]"), value);
    }
}

/// A title, or a text that refers to titles: few letters, so that they meet.
std::string pickedText(FuzzInput& input, bool isTitle)
{
    static const char* const kPieces[]
        = { "[:", ":]", "a", "b", "A", "c", "%@", ":", "[", "]", "[:a:]", "[:b:]", "[:c:]", "\xC3\xA9", "\xFF" };
    std::string text;
    for (uint32_t left = input.below(isTitle ? 3 : 6); left > 0; --left) {
        const uint32_t choice = input.below(static_cast<uint32_t>(std::size(kPieces)) + 1);
        text += choice < std::size(kPieces) ? kPieces[choice] : input.bytes(input.below(4));
    }
    return text;
}

void fill(VLR_Document& document, FuzzInput& input)
{
    for (uint32_t left = 1 + input.below(7); left > 0; --left) {
        auto* const record = new VLR_PasswordData(&document);
        document.AddNewPasswordData(record);
        record->SetTitle(textOf(pickedText(input, /*isTitle=*/true)));
        record->SetUsername(textOf(pickedText(input, /*isTitle=*/false)));
        record->SetPassword(textOf(pickedText(input, /*isTitle=*/false)));
    }
}

void resolve(VLR_Document& document, VLR_PasswordData& record, bool username)
{
    const std::string before = bytesOf(username ? record.Username() : record.Password());
    VLR_String expected;
    bool isResolvable = false;
    try {
        isResolvable = succeeds([&] {
            Titles titles;
            expected = resolved(document, record, username, titles);
        });
    } catch (const TooLarge&) {
        succeeds([&] { record.ResolvedField(username); });
        return;
    }
    VLR_String found;
    expect(succeeds([&] { found = record.ResolvedField(username); }) == isResolvable, "it is refused as the rules say");
    expect(bytesOf(found) == bytesOf(expected), "it is resolved as the rules say");
    expect(bytesOf(username ? record.Username() : record.Password()) == before, "the field itself stays");
}

VLR_String referenceTo(const VLR_String& title)
{
    VLR_String reference = textOf("[:%@:]");
    reference.ReplaceAll(textOf("%@"), title);
    return reference;
}

void rename(VLR_Document& document, VLR_PasswordData& record, const VLR_String& title)
{
    const VLR_String old = referenceTo(record.Title());
    const VLR_String fresh = referenceTo(title);
    const bool staysTheSame = record.Title().Compare(&title) == 0;
    if (!succeeds([&] { record.UpdateReverseReferencesToNewTitle(title, /*applyTitle=*/true); }) || staysTheSame)
        return;
    expect(record.Title().Compare(&title) == 0, "the record has its new title");
    if (fresh.Contains(old))
        return;
    for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
        const VLR_PasswordData& other = *document.recordList.ObjectAtIndex(i);
        expect(!other.Username().Contains(old) && !other.Password().Contains(old), "nobody refers to the old title");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    VLR_Document document(VLR_DocumentReadDecrypted);
    fill(document, input);
    for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
        resolve(document, *document.recordList.ObjectAtIndex(i), /*username=*/true);
        resolve(document, *document.recordList.ObjectAtIndex(i), /*username=*/false);
    }
    const uint32_t chosen = input.below(document.recordList.Count());
    rename(document, *document.recordList.ObjectAtIndex(chosen), textOf(pickedText(input, /*isTitle=*/true)));
    return 0;
}
