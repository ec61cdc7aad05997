#include "VaultListing.h"

#include "SampleVaults.h"
#include "VLR_Document.h"
#include "VLR_Exception.h"
#include "VLR_SystemConversions.h"

#include <iostream>

namespace {

/// A text for a terminal: control characters, which could steer it, are shown as question marks.
std::string printable(const VLR_String& text)
{
    std::string result = VLRToSys(text);
    for (char& c : result) {
        if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F)
            c = '?';
    }
    return result;
}

std::string orNone(const VLR_String& text)
{
    return text.IsEmpty() ? "none yet" : printable(text);
}

bool hasSamplePassword(const VLR_MemoryBlock& referenceBuffer)
{
    VLR_BlowFish fish;
    fish.SetPassword(sampleMasterPassword(), /*padToKeyLength=*/false);
    return referenceBuffer.Length() % VLR_BlowFish::kBlockLength == 0 && fish.Verify(referenceBuffer);
}

void list(const VLR_Document& document, uint32_t damaged, std::ostream& out)
{
    out << "  identity " << printable(document.uniqueDocumentID) << ", partner "
        << orNone(document.partnerDocumentID) << '\n';
    out << "  records  " << document.recordList.Count() << (damaged > 0 ? ", damage found" : "") << '\n';
    for (uint32_t i = 0; i < document.recordList.Count(); ++i) {
        const VLR_PasswordData& record = *document.recordList.ObjectAtIndex(i);
        out << "    " << printable(record.UUID()) << "  " << printable(record.Category());
        if (!document.KeepEncrypted())
            out << " / " << printable(record.Title());
        out << '\n';
    }
    out << "  deletions " << document.deletionList.Count() << '\n';
    for (uint32_t i = 0; i < document.deletionList.Count(); ++i)
        out << "    " << printable(document.deletionList.ObjectAtIndex(i)->uuid) << '\n';
}

void readAndList(VLR_MemoryBlock& contents, std::ostream& out)
{
    VLR_Document closed(VLR_DocumentReadKeepEncrypted);
    const uint32_t damaged = closed.FromBlock(contents);
    if (!hasSamplePassword(closed.referenceBuffer)) {
        out << "  master password: not the samples', so without titles\n";
        list(closed, damaged, out);
        return;
    }
    VLR_Document open(VLR_DocumentReadDecrypted);
    open.ChangePassword(sampleMasterPassword());
    list(open, open.FromBlock(contents), out);
}

} // namespace

bool listVault(const std::string& path, std::ostream& out)
{
    VLR_MemoryBlock contents;
    if (!VLRReadFromFile(contents, path)) {
        std::cerr << "vellorin-sample: can't read " << path << '\n';
        return false;
    }
    out << path << '\n';
    try {
        readAndList(contents, out);
    } catch (const VLR_Exception&) {
        std::cerr << "vellorin-sample: no vault of the present version: " << path << '\n';
        return false;
    }
    return true;
}
