#include "CoreFixture.h"
#include "GoldenPromise.h"
#include "ScriptedHost.h"
#include "VLR_System.h"

#include <optional>

namespace {

const std::filesystem::path kOlder = std::filesystem::path(VELLORIN_TEST_DATA) / "older";

constexpr std::size_t kPreferencesTag = 264, kDeletionsTag = 306, kFirstRecordTag = 398; // in "version-3"

/// What a read begins with: the file; or reference buffer, preferences and record blocks, as a host hands them over.
using Pieces = std::vector<std::string>;

/// A document that is its own host: what an unfinished read leaves over goes with it.
class Reader : public VLR_Document {
public:
    Reader()
        : VLR_Document(VLR_DocumentReadDecrypted)
    {
    }
    ~Reader() override { SetReadCompletionData(nullptr); }
};

VLR_ReadCompletionData* completionData(unsigned long version, const Pieces& pieces)
{
    auto* const data = new VLR_ReadCompletionData;
    data->isVersion1 = version == 1;
    data->preferencesBlock = S(pieces[1]);
    for (std::size_t i = 2; i < pieces.size(); ++i)
        data->recordBlocks.AppendObject(new VLR_MemoryBlock(S(pieces[i])));
    return data;
}

class OlderVersions : protected FreshHost, public CoreTest {
protected:
    struct Golden {
        Promise promise;
        Pieces pieces;
    };

    OlderVersions()
    {
        for (const auto& [name, content] : goldenVaults(kOlder)) {
            Promise promise(kOlder / (name + ".hex"));
            Pieces pieces { content };
            if (promise.version < 3) {
                pieces.clear();
                VLR_MemoryBlock chunks = S(content);
                for (VLR_MemoryStream stream(chunks); !stream.AtEnd();)
                    pieces.push_back(str(stream.ReadData()));
            }
            goldens.insert({ name, { promise, pieces } });
        }
    }

    /// Reads with one answer to the dialog; what was raised.
    std::string read(VLR_Document& into, unsigned long version, const Pieces& pieces, const std::string& answer)
    {
        host.dialog = { answer };
        if (version == 3) {
            VLR_MemoryBlock file = S(pieces[0]);
            VLR_MemoryStream stream(file);
            const StVLR_DocumentStream whileReading(into, &stream);
            return failure([&] { errors = into.ReadVersion3FileContents(); });
        }
        into.SetReadCompletionData(completionData(version, pieces));
        VLR_MemoryBlock reference = S(pieces[0]);
        return failure([&] { errors = into.ReadVersion1or2FileContents(reference); });
    }

    std::string read(VLR_Document& into, const std::string& name)
    {
        const Golden& golden = goldens.at(name);
        return read(into, golden.promise.version, golden.pieces, golden.promise.password);
    }

    /// Reads what damage has made of a vault; it may only end in a result, which can be saved, or in an exception.
    void readDamaged(const Promise& promise, const Pieces& pieces)
    {
        Reader into;
        if (!read(into, promise.version, pieces, promise.password).empty())
            return;
        VLR_MemoryBlock file;
        into.ToBlock(file);
        EXPECT_EQ(file.Length(), into.Version4ContentsLength());
    }

    static std::string titles(const VLR_Document& of)
    {
        std::string result;
        for (uint32_t i = 0; i < of.recordList.Count(); ++i)
            result += (i > 0 ? " " : "") + str(of.recordList.ObjectAtIndex(i)->Title());
        return result;
    }

    static std::string preferences(const VLR_Document& of)
    {
        const VLR_Rect& rect = of.documentRect;
        const VLR_Color& color = of.backgroundColor;
        std::string text;
        for (const int64_t value :
            std::initializer_list<int64_t> { of.previousOpenDate, of.documentStamp, uint8_t(of.documentFlagA),
                of.sortParams, rect.top, rect.left, rect.bottom, rect.right, uint8_t(of.documentFlagB), color.red,
                color.green, color.blue, uint8_t(of.documentFlagOverridable), uint8_t(of.documentFlagC) })
            text += (text.empty() ? "" : " ") + std::to_string(value);
        return text;
    }

    std::map<std::string, Golden> goldens;
    uint32_t errors = 0;
    Reader reader;
};

const char* const kTexts[] = { "uuid", "category", "title", "url", "username", "password", "username_label",
    "password_label", "notes", "browser", "clear_block", "growth" };
const char* const kNumbers[] = { "collapsed", "changed", "clear_value", "hidden" };
const char* const kDates[] = { "modified", "last_used" };

/// What is promised, or nothing for a field that the file doesn't hold.
std::string promised(const Promise& promise, uint32_t record, const std::string& field, const std::string& nothing)
{
    const auto found = promise.fields.find("record " + std::to_string(record) + " " + field);
    return found != promise.fields.end() ? found->second : nothing;
}

TEST_F(OlderVersions, GoldenVaultsReadAsPromised)
{
    ASSERT_GT(goldens.size(), 20u);
    for (const auto& [name, golden] : goldens) {
        SCOPED_TRACE(name);
        const auto& [promise, pieces] = golden;
        const uint32_t before = VLR_System::SecondsSince2001();
        Reader into;
        EXPECT_EQ(read(into, name), promise.raises);
        EXPECT_EQ(preferences(into), promise.preferences);
        EXPECT_EQ(into.deletionList.Count() + into.viewableList.Count(), 0u);
        EXPECT_EQ(str(into.UniqueDocumentID()) + str(into.PartnerDocumentID()), "");
        ASSERT_EQ(into.recordList.Count(), promise.records);
        if (promise.raises.empty()) {
            EXPECT_EQ(errors, promise.errors);
            EXPECT_EQ(str(into.Password()), promise.password);
        }
        for (uint32_t i = 0; i < into.recordList.Count(); ++i) {
            SCOPED_TRACE(i);
            const VLR_PasswordData& record = *into.recordList.ObjectAtIndex(i);
            for (const std::string field : kTexts) {
                if (name == "version-3-utf16-browser" && field == "growth")
                    continue; // the browser item has its bytes swapped in place
                if (promise.version == 1 && field == "uuid")
                    continue; // see OldIdentitiesMakeUUIDs
                EXPECT_EQ(fieldOf(record, field), promised(promise, i, field, "")) << field;
            }
            for (const std::string field : kNumbers)
                EXPECT_EQ(fieldOf(record, field), promised(promise, i, field, "0")) << field;
            EXPECT_EQ(fieldOf(record, "color"), promised(promise, i, "color", "0 0 0"));
            for (const std::string field : kDates) {
                const std::string date = promised(promise, i, field, "");
                if (!date.empty())
                    EXPECT_EQ(fieldOf(record, field), date) << field;
                else
                    EXPECT_GE(std::stoul(fieldOf(record, field)), before) << field; // the moment of the read
            }
        }
    }
}

TEST_F(OlderVersions, ASaveIsVersion4WithTheSameContents)
{
    for (const auto& [name, golden] : goldens) {
        if (!golden.promise.raises.empty())
            continue;
        SCOPED_TRACE(name);
        Reader old;
        read(old, name);
        const std::string& password = golden.promise.password;
        EXPECT_EQ(old.DocFish().GetPassword().Length(), std::max<std::size_t>(73, password.size()));
        VLR_MemoryBlock file;
        old.ToBlock(file);
        EXPECT_EQ(VLR_Document::VellorinFileVersion(file), 0x564C5F34u);
        EXPECT_EQ(str(file).substr(kDeletionsTag + 4, 16), std::string("Dele\0\0\0\0SyIn\0\0\0\x24", 16));

        VLR_Document saved(VLR_DocumentReadDecrypted);
        saved.ChangePassword(S(password));
        ASSERT_EQ(failure([&] { EXPECT_EQ(saved.FromBlock(file), 0u); }), ""); // a damaged record is whole now
        EXPECT_EQ(str(saved.UniqueDocumentID()), str(old.UniqueDocumentID()));
        EXPECT_EQ(str(saved.UniqueDocumentID()).size(), 36u);
        EXPECT_EQ(str(saved.DocFish().GetPassword()), password.empty() ? std::string(1, '\0') : password); // not padded
        ASSERT_EQ(saved.recordList.Count(), old.recordList.Count());
        for (uint32_t i = 0; i < saved.recordList.Count(); ++i) {
            const VLR_PasswordData& before = *old.recordList.ObjectAtIndex(i);
            const VLR_PasswordData& after = *saved.recordList.ObjectAtIndex(i);
            EXPECT_TRUE(after.IsDuplicate(before, false));
            for (const std::string field : { "uuid", "collapsed", "changed", "clear_value", "clear_block", "modified",
                     "last_used", "hidden", "color" })
                EXPECT_EQ(fieldOf(after, field), fieldOf(before, field)) << field;
            if (name != "version-3-utf16-browser") {
                EXPECT_EQ(fieldOf(after, "growth"), fieldOf(before, "growth"));
            }
        }
    }
}

TEST_F(OlderVersions, CutOrChangedAnywhereAReadEnds)
{
    for (const auto& [name, golden] : goldens) {
        const auto& [promise, pieces] = golden;
        for (std::size_t piece = 0; piece < pieces.size(); ++piece) {
            for (std::size_t i = 0; i < pieces[piece].size(); ++i) {
                Pieces damaged = pieces;
                for (const int bits : { 0xFF, 0x01 }) {
                    damaged[piece][i] = static_cast<char>(pieces[piece][i] ^ bits);
                    readDamaged(promise, damaged);
                }
                damaged[piece].resize(i);
                readDamaged(promise, damaged);
            }
        }
        log.clear();
    }
}

// Version 3

TEST_F(OlderVersions, SectionsAreExpectedInTheirOrder)
{
    const std::string whole = goldens.at("version-3").pieces[0];
    const struct {
        const char* name;
        std::string bytes;
        std::string raised, titles;
    } kCases[] = {
        { "nothing", "", "GetBytes out of range.", "held" },
        { "a magic", "VL_4" + whole, "expected blowfish reference buffer", "held" },
        { "no reference buffer", whole.substr(kPreferencesTag), "expected blowfish reference buffer", "held" },
        { "no preferences", std::string(whole).replace(kPreferencesTag, 42, ""), "expected document preferences",
            "held" },
        { "no deletion list", std::string(whole).replace(kDeletionsTag, 92, ""), "expected deletion list", "held" },
        { "identities", std::string(whole).insert(kFirstRecordTag, std::string("SyIn\0\0\0\0\0\0\0\0", 12)),
            "expected password record data", "" },
        { "no tag of a record", std::string(whole).replace(kFirstRecordTag, 4, ""), "expected password record data",
            "" },
        { "another version's end", whole + "SyIn", "expected password record data",
            "Caf\xC3\xA9 \xC3\x86on \xE2\x80\xA0" },
        { "whole", whole, "", "Caf\xC3\xA9 \xC3\x86on \xE2\x80\xA0" },
    };
    for (const auto& c : kCases) {
        Reader into;
        into.ChangePassword(S("open sesame"));
        add(into, "U", "held")->SetDirty(0);
        into.deletionList.RemoveAll();
        into.AddDeletedUUID(S("D"), 1);
        EXPECT_EQ(read(into, 3, { c.bytes }, "open sesame"), c.raised) << c.name;
        EXPECT_EQ(titles(into), c.titles) << c.name; // only the second half begins anew
        EXPECT_EQ(deletions(into), "D") << c.name;
    }
}

TEST_F(OlderVersions, WithoutDecipheringItIsRefusedFirst)
{
    EXPECT_EQ(failure([&] { closed.ReadVersion3FileContents(); }), "can't convert without decrypt");
    VLR_MemoryBlock noBuffer;
    EXPECT_EQ(failure([&] { closed.ReadVersion1or2FileContents(noBuffer); }), "can't convert without decrypt");
    VLR_MemoryBlock file = S("no vault");
    VLR_MemoryStream stream(file);
    closed.SetStream(&stream);
    EXPECT_EQ(failure([&] { closed.ReadVersion3FileContents(); }), "can't convert without decrypt");
    EXPECT_EQ(stream.Offset(), 0u);
    EXPECT_EQ(host.asked, "");
    EXPECT_EQ(failure([&] { reader.ReadVersion3FileContents(); }), "nil stream");
}

TEST_F(OlderVersions, AnyVersionButTheFourthIsUnknown)
{
    const std::pair<std::string, uint32_t> kCases[] = {
        { "", 0 },
        { "VL_", 0 },
        { "VL_4", 0x564C5F34 },
        { "VL_4Fish", 0x564C5F34 },
        { "VL_3", 0 },
        { "4_LV", 0 },
        { "Fish", 0 },
        { "xVL_4", 0 },
    };
    for (const auto& [bytes, version] : kCases) {
        VLR_MemoryBlock block = S(bytes);
        EXPECT_EQ(VLR_Document::VellorinFileVersion(block), version) << bytes;
        EXPECT_EQ(str(block), bytes);
    }
}

// Password

TEST_F(OlderVersions, ThePasswordIsAlwaysAskedFor)
{
    for (const char* const name : { "version-3", "version-2", "version-1" }) {
        const auto& [promise, pieces] = goldens.at(name);
        host.asked.clear();
        Reader into;
        into.ChangePassword(S("open sesame")); // is not tried
        add(into, "U", "held");
        EXPECT_EQ(read(into, promise.version, pieces, "wrong"), "code 8") << name; // one wrong answer, then no more
        EXPECT_EQ(host.asked, "keychain dialog() dialog(wrong) ") << name;
        host.dialog = { "a", "b", "c" };
        EXPECT_EQ(failure([&] { into.AskUserPassword(VLR_AskPasswordPrompt, true); }), "code 6") << name;
        EXPECT_EQ(str(into.Password()), "open sesame") << name;
        EXPECT_EQ(titles(into), "held") << name;
    }
}

TEST_F(OlderVersions, AHalfReadWaitsForItsCompletion)
{
    const struct {
        const char* name;
        bool stillHalf;
        std::optional<std::string> express;
        std::deque<std::optional<std::string>> dialog;
        std::string raised, asked;
    } kCases[] = {
        { "nothing at hand", true, {}, { "open sesame" }, "code 6", "" },
        { "express", true, "open sesame", {}, "", "" },
        { "express wrong", true, "wrong", { "open sesame" }, "code 6", "" },
        { "dialog", false, {}, { "open sesame" }, "", "keychain dialog() " },
        { "refused", false, {}, { std::nullopt }, "code 8", "keychain dialog() " },
    };
    for (const char* const golden : { "version-3", "version-2", "version-1" }) {
        const auto& [promise, pieces] = goldens.at(golden);
        for (const auto& c : kCases) {
            SCOPED_TRACE(std::string(golden) + ", " + c.name);
            host = ScriptedHost();
            VLR_MemoryBlock first = S(pieces[0]);
            VLR_MemoryStream stream(first);
            Reader into;
            into.SetHalfReadFlag(VLR_HalfReadOn);
            if (promise.version == 3) {
                into.SetStream(&stream);
                EXPECT_EQ(into.ReadVersion3FileContents(), 0u);
                EXPECT_EQ(stream.Offset(), kFirstRecordTag);
            } else {
                into.SetReadCompletionData(completionData(promise.version, pieces));
                EXPECT_EQ(into.ReadVersion1or2FileContents(first), 0u);
            }
            EXPECT_EQ(preferences(into), promise.preferences);
            EXPECT_EQ(into.recordList.Count(), 0u);
            EXPECT_EQ(host.asked, "");

            host.dialog = c.dialog;
            if (c.express)
                VLR_System::SetExpressOpenPassword(S(*c.express));
            into.SetHalfReadFlag(c.stillHalf ? VLR_HalfReadOn : VLR_HalfReadOff);
            EXPECT_EQ(failure([&] { into.ReadToCompletion(); }), c.raised);
            EXPECT_EQ(host.asked, c.asked);
            EXPECT_EQ(into.recordList.Count(), c.raised.empty() ? promise.records : 0u);
            if (c.raised.empty())
                continue;
            into.SetHalfReadFlag(VLR_HalfReadOff); // a second try finds all it needs
            host.dialog = { "open sesame" };
            EXPECT_EQ(into.ReadToCompletion(), 0u);
            EXPECT_EQ(into.recordList.Count(), promise.records);
        }
    }
}

TEST_F(OlderVersions, AHalfReadWhoseStreamIsGoneIsRefused)
{
    reader.SetHalfReadFlag(VLR_HalfReadOn);
    EXPECT_EQ(read(reader, "version-3"), "");
    EXPECT_EQ(failure([&] { reader.ReadToCompletion(); }), "nil stream");
}

// Versions 1 and 2

TEST_F(OlderVersions, CompletionDataServesOneRead)
{
    struct Watched : VLR_ReadCompletionData {
        explicit Watched(int& gone)
            : gone(gone)
        {
        }
        ~Watched() override { ++gone; }
        int& gone;
    };
    VLR_MemoryBlock reference = S(goldens.at("version-2").pieces[0]);
    EXPECT_EQ(failure([&] { reader.ReadVersion1or2FileContents(reference); }), "code 7"); // none at all
    EXPECT_EQ(host.asked, "");

    int gone = 0;
    reader.SetReadCompletionData(new Watched(gone));
    host.dialog = { std::nullopt };
    EXPECT_EQ(failure([&] { reader.ReadVersion1or2FileContents(reference); }), "code 8");
    EXPECT_EQ(gone, 0);
    host.dialog = { "open sesame" };
    EXPECT_EQ(reader.ReadToCompletion(), 0u); // no records, and yet the password must be right
    EXPECT_EQ(gone, 1);
    EXPECT_EQ(failure([&] { reader.ReadToCompletion(); }), "code 7");
}

TEST_F(OlderVersions, TheReferenceBufferMayBeTheDocumentsOwn)
{
    const auto& [promise, pieces] = goldens.at("version-2");
    reader.referenceBuffer = S(pieces[0]);
    reader.SetReadCompletionData(completionData(2, pieces));
    host.dialog = { "open sesame" };
    EXPECT_EQ(reader.ReadVersion1or2FileContents(reader.referenceBuffer), 0u);
    EXPECT_EQ(reader.recordList.Count(), promise.records);
}

TEST_F(OlderVersions, OldIdentitiesMakeUUIDs)
{
    const auto readUUIDs = [&](unsigned long version, const Pieces& pieces) {
        Reader into;
        EXPECT_EQ(read(into, version, pieces, "open sesame"), "");
        return uuids(into);
    };
    Pieces pieces = goldens.at("version-2").pieces;
    const std::string known = readUUIDs(2, pieces);
    EXPECT_EQ(readUUIDs(2, pieces), known);
    pieces.back()[9] ^= 1; // collapsed
    const std::string other = readUUIDs(2, pieces);
    EXPECT_EQ(other.substr(0, other.rfind(' ')), known.substr(0, known.rfind(' ')));
    EXPECT_NE(other, known);

    pieces = goldens.at("version-1").pieces;
    const std::string fresh = readUUIDs(1, pieces);
    EXPECT_EQ(fresh.size(), 3 * 36u + 2);
    EXPECT_NE(fresh.substr(0, 36), fresh.substr(37, 36));
    EXPECT_NE(readUUIDs(1, pieces), fresh);

    const std::string ofDamaged = readUUIDs(1, goldens.at("version-1-damaged").pieces);
    EXPECT_EQ(ofDamaged.size(), 36u + 3); // only the last one is whole
    EXPECT_EQ(ofDamaged.substr(0, 3), "   ");
}

TEST_F(OlderVersions, MissingPreferencesKeepWhatTheDocumentHas)
{
    const struct {
        int preference;
        std::string golden;
        int overridable, c;
    } kCases[] = {
        { 0, "version-2-preferences-short", 1, 3 },
        { 0, "version-1-preferences-short", 0, 3 },
        { 0, "version-2", 0, 9 },
        { 1, "version-1-preferences-short", 1, 3 },
        { 2, "version-2-preferences-short", 0, 3 },
        { 2, "version-2-no-preferences", 0, 3 },
    };
    for (const auto& c : kCases) {
        host.preferences[VLRPref_DocumentFlagOverride] = c.preference;
        Reader into;
        into.documentFlagC = 3;
        EXPECT_EQ(read(into, c.golden), "");
        EXPECT_EQ(into.documentFlagOverridable, c.overridable) << c.golden << c.preference;
        EXPECT_EQ(into.documentFlagC, c.c) << c.golden;
    }
}

} // namespace
