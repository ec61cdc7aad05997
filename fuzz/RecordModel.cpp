#include "RecordModel.h"

#include "FuzzInput.h"
#include "FuzzTexts.h"
#include "PlainBytes.h"
#include "VaultChecks.h"

#include <cstdio>
#include <ctime>

namespace {

constexpr uint32_t k1970To2001 = 978307200;
constexpr uint32_t k1904To2001 = 3061152000;
constexpr uint32_t k2008 = 220838400; // since 2001
constexpr uint32_t kYear = 31536000;
constexpr std::size_t kCipherBlock = 8;
constexpr uint32_t kUUIDLength = 36;

uint32_t now()
{
    return static_cast<uint32_t>(std::time(nullptr) - k1970To2001);
}

/// The sum of the 16-bit words, with what passes 16 bits added at the bottom. A last odd byte is left out.
uint16_t checksumOf(const std::string& block)
{
    uint32_t sum = 0;
    for (std::size_t i = 0; i + 1 < block.size(); i += 2) {
        sum += PlainBytes(block.substr(i, 2)).number(2);
        sum = (sum & 0xFFFF) + (sum >> 16);
    }
    return static_cast<uint16_t>(sum);
}

std::string identityOf(uint32_t b, uint32_t i, uint32_t checksum)
{
    char text[37] = {};
    std::snprintf(text, sizeof text, "00000000-0000-0000-%04X-%08X%04X", checksum, i, b);
    return text;
}

uint32_t modifiedDateOf(uint32_t date, uint32_t format)
{
    if (format >= 4)
        return date == 0 ? 0 : date - k1970To2001;
    return date <= k1904To2001 ? date : date - k1904To2001;
}

uint32_t lastUsedDateOf(uint32_t date)
{
    const uint32_t since2001 = date > k1970To2001 ? date - k1970To2001 : date;
    const bool isTooFarAhead = now() > k2008 && since2001 > now() && since2001 - now() > kYear;
    return isTooFarAhead ? 0 : since2001;
}

std::string browserOf(const std::string& item)
{
    PlainBytes bytes(item);
    const uint32_t count = bytes.number(4);
    if (bytes.isCut())
        return {};
    return count == item.size() - 4 ? item.substr(4) : utf8OfUtf16(item);
}

void readClearPart(PlainBytes& bytes, uint32_t format, RecordModel& model)
{
    if (format == 3)
        bytes.take(2);
    if (format >= 4) {
        model.uuid = bytes.chunk();
    } else {
        const uint32_t b = bytes.number(1);
        const uint32_t i = bytes.number(4);
        model.uuid = bytes.isCut() ? "" : identityOf(b, i, model.checksum);
    }
    model.collapsed = static_cast<int8_t>(bytes.number(1));
    model.changedSinceSync = static_cast<uint8_t>(bytes.number(1));
    if (format < 3)
        return;
    model.category = format >= 4 ? bytes.chunk() : bytes.shortText();
    model.clearBlock = bytes.chunk();
    model.clearValue = static_cast<int32_t>(bytes.number(4));
}

void readTexts(PlainBytes& bytes, uint32_t format, RecordModel& model)
{
    const auto text = [&] { return format >= 4 ? bytes.chunk() : bytes.shortText(); };
    model.title = text();
    model.URL = text();
    model.username = text();
    model.password = text();
    if (format >= 4) {
        model.usernameLabel = text();
        model.passwordLabel = text();
    }
    model.notes = format == 3 ? bytes.asciiText() : text();
}

void readDatesAndColor(PlainBytes& bytes, uint32_t format, RecordModel& model)
{
    const uint32_t modified = bytes.number(4);
    if (!bytes.isCut())
        model.modifiedDate = modifiedDateOf(modified, format);
    if (format < 4)
        return;
    const uint32_t lastUsed = bytes.number(4);
    if (!bytes.isCut())
        model.lastUsedDate = lastUsedDateOf(lastUsed);
    model.hiddenValue = bytes.number(4);
    PlainBytes color(bytes.take(6));
    for (uint16_t* const part : { &model.color.red, &model.color.green, &model.color.blue })
        *part = static_cast<uint16_t>(color.number(2));
}

void readGrowthArea(PlainBytes& bytes, RecordModel& model)
{
    PlainBytes items(bytes.chunk());
    while (!items.isAtEnd()) {
        const std::string item = items.chunk();
        if (items.isCut()) {
            bytes.cut();
            return;
        }
        model.growth.push_back(item);
    }
    if (!model.growth.empty())
        model.browser = browserOf(model.growth.front());
}

/// Absent if it can't be enciphered text.
std::optional<std::string> deciphered(const std::string& body)
{
    if (body.size() % kCipherBlock != 0)
        return std::nullopt;
    VLR_MemoryBlock block = blockOf(body);
    fuzzFish().DecryptMemoryBlock(block);
    return bytesOf(block);
}

bool isNow(uint32_t date)
{
    return now() - date < 60;
}

bool isDate(uint32_t date, const std::optional<uint32_t>& expected)
{
    return expected ? date == *expected : isNow(date);
}

void expectClearPartAs(const RecordModel& model, const VLR_PasswordData& record)
{
    expect(record.Collapsed() == model.collapsed, "the collapsed flag is as the file has it");
    expect(record.ChangedSinceSync() == model.changedSinceSync, "the change flag is as the file has it");
    expect(bytesOf(record.Category()) == model.category, "the category is as the file has it");
    expect(bytesOf(record.ClearBlock()) == model.clearBlock, "the clear block is as the file has it");
    expect(record.ClearValue() == model.clearValue, "the clear value is as the file has it");
}

/// The first item in an older writer's form is turned round in memory; it is never written.
void expectGrowthAs(const RecordModel& model, const VLR_PasswordData& record)
{
    expect(record.FutureGrowth().Count() == model.growth.size(), "there are as many growth items as the file has");
    for (uint32_t i = 1; i < record.FutureGrowth().Count(); ++i)
        expect(bytesOf(*record.FutureGrowth().ObjectAtIndex(i)) == model.growth[i], "growth is as the file has it");
    expect(bytesOf(record.Browser()) == model.browser, "the browser is as the file has it");
}

} // namespace

RecordModel RecordModel::ofBlock(const std::string& block)
{
    RecordModel model;
    PlainBytes bytes(block);
    const uint32_t format = bytes.number(4);
    model.checksum = checksumOf(block);
    readClearPart(bytes, format, model);
    model.body = bytes.chunk();
    model.isCarried = !bytes.isCut();
    const std::optional<std::string> plain = model.isCarried ? deciphered(model.body) : std::nullopt;
    if (!plain)
        return model;
    PlainBytes fields(*plain);
    readTexts(fields, format, model);
    readDatesAndColor(fields, format, model);
    if (format >= 3)
        readGrowthArea(fields, model);
    model.isWhole = !fields.isCut();
    return model;
}

RecordModel RecordModel::ofVersion1(const std::string& block)
{
    RecordModel model;
    const std::optional<std::string> plain = deciphered(block);
    if (!plain)
        return model;
    PlainBytes fields(*plain);
    for (std::string* const text : { &model.title, &model.URL, &model.username, &model.password })
        *text = fields.shortText();
    const uint32_t modified = fields.number(4);
    model.isWhole = !fields.isCut();
    model.hasUUIDByChance = model.isWhole;
    if (model.isWhole)
        model.modifiedDate = modifiedDateOf(modified, 1);
    return model;
}

void expectCarriedAs(const RecordModel& model, const VLR_PasswordData& record)
{
    expectClearPartAs(model, record);
    expect(bytesOf(record.UUID()) == model.uuid, "the UUID is as the file has it");
    expect(bytesOf(record.EncryptedBody()) == model.body, "the cipher text is as the file has it");
}

void expectOpenedAs(const RecordModel& model, const VLR_PasswordData& record)
{
    expectClearPartAs(model, record);
    expect(model.hasUUIDByChance ? record.UUID().Length() == kUUIDLength : bytesOf(record.UUID()) == model.uuid,
        "the UUID is as the file has it");
    expect(bytesOf(record.Title()) == model.title, "the title is as the file has it");
    expect(bytesOf(record.URL()) == model.URL, "the URL is as the file has it");
    expect(bytesOf(record.Username()) == model.username, "the user name is as the file has it");
    expect(bytesOf(record.Password()) == model.password, "the password is as the file has it");
    expect(bytesOf(record.UsernameLabel()) == model.usernameLabel, "the user name's label is as the file has it");
    expect(bytesOf(record.PasswordLabel()) == model.passwordLabel, "the password's label is as the file has it");
    expect(bytesOf(record.Notes()) == model.notes, "the notes are as the file has them");
    expect(isDate(record.ModifiedDate(), model.modifiedDate), "the date of change is as the file has it");
    expect(isDate(record.LastUsedDate(), model.lastUsedDate), "the date of last use is as the file has it");
    expect(record.HiddenValue() == model.hiddenValue, "the hidden value is as the file has it");
    expect(record.Color() == model.color, "the colour is as the file has it");
    expectGrowthAs(model, record);
}
