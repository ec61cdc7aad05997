#pragma once

#include "NSLog.h"
#include "VLR_Document.h"
#include "VLR_Exception.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

inline VLR_String S(const std::string& utf8)
{
    VLR_String text;
    text.Append(utf8.data(), static_cast<uint32_t>(utf8.size()));
    return text;
}

inline std::string str(const VLR_MemoryBlock& block)
{
    return std::string(reinterpret_cast<const char*>(block.Bytes()), block.Length());
}

inline std::string hex(const VLR_MemoryBlock& block)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string result;
    for (uint32_t i = 0; i < block.Length(); ++i)
        result += { kDigits[block.Bytes()[i] >> 4], kDigits[block.Bytes()[i] & 15] };
    return result;
}

/// The bytes of hex digits, blanks left out.
inline VLR_MemoryBlock fromHex(const std::string& digits)
{
    VLR_MemoryBlock block;
    std::string pair;
    for (const char c : digits) {
        if (c != ' ')
            pair += c;
        if (pair.size() == 2) {
            block.AppendByte(static_cast<unsigned char>(std::stoi(pair, nullptr, 16)));
            pair.clear();
        }
    }
    return block;
}

/// The text of what is raised, or "code N" for one raised by code; empty if nothing is.
inline std::string failure(const std::function<void()>& work)
{
    try {
        work();
    } catch (const VLR_Exception& exception) {
        return exception.message.IsEmpty() ? "code " + std::to_string(exception.code) : str(exception.message);
    }
    return "";
}

/// A document with the password "open sesame", and the log lines that a test causes.
class CoreTest : public ::testing::Test {
protected:
    CoreTest()
        : before(setLogSink([this](std::string_view line) { log.emplace_back(line); }))
    {
        document.ChangePassword(S("open sesame"));
    }
    ~CoreTest() override { setLogSink(before); }

    VLR_PasswordData* add(VLR_Document& to, const std::string& uuid, const std::string& title = "t")
    {
        auto* const record = new VLR_PasswordData(&to);
        to.AddNewPasswordData(record);
        record->SetUUID(VLR_String());
        record->SetTitle(S(title));
        record->SetUUID(S(uuid));
        record->SetChangedSinceSync(0);
        record->SetDirty(0);
        record->SetChangedSinceSync(0);
        return record;
    }

    static std::string uuidsOf(const VLR_Array<VLR_PasswordData>& records)
    {
        std::string result;
        for (uint32_t i = 0; i < records.Count(); ++i)
            result += (i > 0 ? " " : "") + str(records.ObjectAtIndex(i)->UUID());
        return result;
    }

    static std::string uuids(const VLR_Document& of) { return uuidsOf(of.recordList); }

    static std::string deletions(const VLR_Document& of)
    {
        std::string result;
        for (uint32_t i = 0; i < of.deletionList.Count(); ++i)
            result += (i > 0 ? " " : "") + str(of.deletionList.ObjectAtIndex(i)->uuid);
        return result;
    }

    std::vector<std::string> log;
    VLR_Document document { VLR_DocumentReadDecrypted };
    VLR_Document closed { VLR_DocumentReadKeepEncrypted };

private:
    NSLogSink before;
};
