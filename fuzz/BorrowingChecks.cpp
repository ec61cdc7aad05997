#include "BorrowingChecks.h"

#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "VLR_GatheringStream.h"
#include "VaultChecks.h"

namespace {

VLR_ForeignBytes lent(const std::string& bytes)
{
    return { reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<uint32_t>(bytes.size()) };
}

/// Two readings of one file.
struct Readings {
    Readings(const std::string& file, VLR_DocumentReadStyle style)
        : file(file)
        , borrowed(style)
        , copied(style)
        , copy(blockOf(file))
    {
        const VLR_ForeignBytes bytes = lent(this->file);
        loan.Borrow(bytes.bytes, bytes.length);
        if (style == VLR_DocumentReadDecrypted) {
            borrowed.ChangePassword(textOf(kFuzzPassword));
            copied.ChangePassword(textOf(kFuzzPassword));
        }
    }

    bool read()
    {
        uint32_t errors[2] = {};
        const bool isDone[] = { succeeds([&] { errors[0] = borrowed.FromBlock(loan); }),
            succeeds([&] { errors[1] = copied.FromBlock(copy); }) };
        expect(isDone[0] == isDone[1] && errors[0] == errors[1], "a borrowed read ends as a copied one");
        expect(borrowed.recordList.Count() == copied.recordList.Count(), "a borrowed read finds as many records");
        return isDone[0];
    }

    const std::string file; // outlives the documents
    VLR_Document borrowed;
    VLR_Document copied;
    VLR_MemoryBlock loan;
    VLR_MemoryBlock copy;
};

/// What a read takes from the clock or makes at random.
void adoptWhatDiffers(VLR_Document& to, const VLR_Document& from)
{
    to.openDate = from.openDate;
    to.uniqueDocumentID = from.uniqueDocumentID;
    for (uint32_t i = 0; i < to.recordList.Count(); ++i) {
        const VLR_PasswordData& given = *from.recordList.ObjectAtIndex(i);
        VLR_PasswordData& record = *to.recordList.ObjectAtIndex(i);
        const uint8_t changed = record.ChangedSinceSync();
        record.SetModifiedDate(given.ModifiedDate());
        record.SetChangedSinceSync(changed);
        record.SetLastUsedDate(given.LastUsedDate());
    }
}

void editInPlace(VLR_String& text, unsigned char value)
{
    if (value % 3 == 0)
        text.AppendByte(value);
    else if (value % 3 == 1 && !text.IsEmpty())
        text.SetByteAtIndex(value, value % text.Length());
    else
        text.Resize(value % 8);
}

/// A text as long as another, but not the same unless it is empty.
VLR_String twisted(const VLR_String& text)
{
    VLR_String result(text);
    if (!result.IsEmpty())
        result.SetByteAtIndex(result.ByteAtIndex(0) ^ 1, 0);
    return result;
}

/// One edit of a record, told by two bytes; the same of both documents.
void edit(VLR_Document& document, VLR_PasswordData& record, unsigned char kind, unsigned char value)
{
    const VLR_String text = textOf(std::string(value % 5, static_cast<char>(value)));
    switch (kind % 14) {
    case 0: record.SetUUID(text); break;
    case 1: record.SetUUID(VLR_String(record.UUID())); break; // the same bytes, elsewhere
    case 2: record.SetUUID(record.Category()); break;
    case 3: record.ReplaceCategoryName(text); break;
    case 4: record.ReplaceCategoryName(VLR_String(record.Category())); break;
    case 5: record.SetCollapsed(value); break;
    case 6: record.SetChangedSinceSync(value); break;
    case 7: // an edit ends the identity; the fresh one is random
        record.SetCategory(text);
        record.SetUUID(text);
        break;
    case 8: document.AddDeletedUUID(record.UUID(), record.Checksum()); break;
    case 9: document.recordList.AppendObject(&record); break;
    case 10: editInPlace(document.partnerDocumentID, value); break;
    case 11: record.SetUUID(twisted(record.UUID())); break;
    case 12: record.ReplaceCategoryName(twisted(record.Category())); break;
    default: break;
    }
}

void editAlike(VLR_Document& document, const std::string& file)
{
    const uint32_t count = document.recordList.Count();
    for (uint32_t i = 0; i < count; ++i) {
        const auto byteAt = [&](std::size_t place) { return static_cast<unsigned char>(file[place % file.size()]); };
        const std::size_t fromEnd = file.size() - 1 - (2 * i) % file.size(); // where the bytes are told by a cipher
        edit(document, *document.recordList.ObjectAtIndex(i), byteAt(fromEnd), byteAt(fromEnd + 1));
    }
}

std::string image(VLR_Document& document, bool& isWritten)
{
    VLR_MemoryBlock block;
    isWritten = succeeds([&] { document.ToBlock(block); });
    return bytesOf(block);
}

std::string pieces(VLR_Document& document, const std::string& source)
{
    VLR_GatheringStream stream({ lent(source) });
    const StVLR_DocumentStream whileWriting(document, &stream);
    document.WriteVersion4Contents();
    std::string joined;
    for (const VLR_ForeignBytes& piece : stream.Pieces())
        joined.append(reinterpret_cast<const char*>(piece.bytes), piece.length);
    return joined;
}

void expectWrittenAlike(Readings& readings)
{
    bool isWritten[2] = {};
    const std::string fromLoan = image(readings.borrowed, isWritten[0]);
    const std::string fromCopy = image(readings.copied, isWritten[1]);
    expect(isWritten[0] == isWritten[1] && fromLoan == fromCopy, "what was borrowed is written like what was copied");
    if (isWritten[0])
        expect(pieces(readings.borrowed, readings.file) == fromCopy, "the pieces are the image");
}

} // namespace

void expectBorrowedAsCopied(const std::string& file, VLR_DocumentReadStyle style)
{
    Readings readings(file, style);
    if (!readings.read())
        return;
    adoptWhatDiffers(readings.copied, readings.borrowed);
    expectWrittenAlike(readings);
    editAlike(readings.borrowed, file);
    editAlike(readings.copied, file);
    expectWrittenAlike(readings);
    expect(bytesOf(readings.borrowed.Description()) == bytesOf(readings.copied.Description()),
        "identities, checksums and deletions are the same");
    expect(readings.file == file, "what was lent stays as it was");
}
