#include "Json.h"
#include "Console.h"
#include "StCapturedOutput.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

using namespace std::string_literals;

TEST(JsonText, CarriesEveryByteString)
{
    for (const std::string& bytes : { ""s, "Grüße"s, "\"\0\x1b\x7f"s, "caf\xE9.vlr"s, "\xFF\xC3\xA9\xFF"s }) {
        const auto value = nlohmann::ordered_json::parse(jsonText(bytes).dump()); // raises for wrong UTF-8
        EXPECT_EQ(value.is_string() ? value.get<std::string>() : bytesOfHex(value["hex"].get<std::string>()), bytes);
        EXPECT_EQ(jsonTextInLine(bytes), value.dump());
    }
    EXPECT_EQ(jsonText("caf\xE9").dump(), "{\"text\":\"caf\xEF\xBF\xBD\",\"hex\":\"636166e9\"}");
    for (const char* digits : { "0", "0g", "-1", "+1", "0x", "000" })
        EXPECT_FALSE(bytesOfHex(digits)) << digits;
}

TEST(PrintJson, LetsNoCharacterSteerTheTerminal)
{
    std::string out;
    {
        const StCapturedOutput captured;
        Console console("vellorin");
        nlohmann::ordered_json document = jsonDocument("info");
        document["file"] = jsonText("\x1b[2J\x7f\u009b\u202e");
        printJson(console, document);
        out = captured.out();
    }
    EXPECT_EQ(out,
        "{\n  \"schema\": 1,\n  \"command\": \"info\",\n"
        "  \"file\": \"\\u001b[2J\\u007f\\u009b\\u202e\"\n}\n");
}

TEST(JsonOutput, WritesWhatTheWholeDocumentWouldBe)
{
    const nlohmann::ordered_json record { { "uuid", "\n\x1b" }, { "empty", nlohmann::ordered_json::array() } };
    nlohmann::ordered_json document = jsonDocument("info");
    document["files"] = { { { "path", "a" }, { "records", { record, record } } },
        { { "records", nlohmann::ordered_json::array() } } };
    std::string piecewise;
    std::string whole;
    {
        const StCapturedOutput captured;
        Console console("vellorin");
        JsonOutput json(console, "info");
        json.beginList("files");
        json.beginObject();
        json.member("path", "a");
        json.beginList("records");
        json.element(record);
        json.element(record);
        json.end();
        json.end();
        json.beginObject();
        json.beginList("records");
        json.finish();
        piecewise = captured.out();
    }
    {
        const StCapturedOutput captured;
        Console console("vellorin");
        printJson(console, document);
        whole = captured.out();
    }
    EXPECT_EQ(piecewise, whole);
}

} // namespace
