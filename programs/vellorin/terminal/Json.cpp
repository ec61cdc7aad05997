#include "Json.h"

#include "Console.h"
#include "Utf8.h"

#include <nlohmann/json.hpp>

#include <charconv>
#include <utility>

namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD"; // U+FFFD

constexpr int kIndent = 2;
constexpr std::size_t kLongText = 65536;

/// Without anything but ASCII, so that no character of a name steers a terminal here either.
std::string dumped(const nlohmann::ordered_json& value)
{
    return value.dump(kIndent, ' ', /*ensure_ascii=*/true);
}

std::string withWrongBytesReplaced(std::string_view bytes)
{
    std::string text;
    while (!bytes.empty()) {
        const Utf8Step step = firstStep(bytes);
        text += step.isCharacter ? bytes.substr(0, step.length) : std::string_view(kReplacement);
        bytes.remove_prefix(step.length);
    }
    return text;
}

std::string hexOf(std::string_view bytes)
{
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    hex.reserve(2 * bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        hex += kDigits[byte >> 4];
        hex += kDigits[byte & 15];
    }
    return hex;
}

} // namespace

nlohmann::ordered_json jsonDocument(const std::string& command)
{
    nlohmann::ordered_json document;
    document["schema"] = kJsonSchema;
    document["command"] = command;
    return document;
}

nlohmann::ordered_json jsonText(std::string_view bytes)
{
    if (isUtf8(bytes))
        return bytes;
    nlohmann::ordered_json value;
    value["text"] = withWrongBytesReplaced(bytes);
    value["hex"] = hexOf(bytes);
    return value;
}

std::string jsonTextInLine(std::string_view bytes)
{
    if (isUtf8(bytes))
        return nlohmann::ordered_json(bytes).dump();
    return "{\"text\":" + nlohmann::ordered_json(withWrongBytesReplaced(bytes)).dump() + ",\"hex\":\"" + hexOf(bytes)
        + "\"}";
}

std::optional<std::string> bytesOfHex(std::string_view digits)
{
    std::string bytes;
    for (; digits.size() >= 2; digits.remove_prefix(2)) {
        unsigned char byte = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + 2, byte, 16);
        if (error != std::errc() || end != digits.data() + 2)
            return std::nullopt;
        bytes += static_cast<char>(byte);
    }
    return digits.empty() ? std::optional(bytes) : std::nullopt;
}

JsonOutput::JsonOutput(Console& console, const std::string& command)
    : console_(console)
{
    open('{');
    const nlohmann::ordered_json frame = jsonDocument(command);
    for (const auto& [name, value] : frame.items())
        member(name, value);
}

void JsonOutput::member(const std::string& name, const nlohmann::ordered_json& value)
{
    startEntry();
    append(name);
    text_ += ": ";
    append(value);
    flushIfLong();
}

void JsonOutput::beginList(const std::string& name)
{
    startEntry();
    append(name);
    text_ += ": ";
    open('[');
}

void JsonOutput::element(const nlohmann::ordered_json& value)
{
    startEntry();
    append(value);
    flushIfLong();
}

void JsonOutput::beginObject()
{
    startEntry();
    open('{');
}

void JsonOutput::end()
{
    const char bracket = closing_.back();
    closing_.pop_back();
    if (!isEmpty_)
        newLine();
    text_ += bracket;
    isEmpty_ = false;
}

void JsonOutput::finish()
{
    while (!closing_.empty())
        end();
    console_.data(std::exchange(text_, {}) + '\n');
}

void JsonOutput::open(char bracket)
{
    text_ += bracket;
    closing_ += bracket == '{' ? '}' : ']';
    isEmpty_ = true;
}

void JsonOutput::startEntry()
{
    if (!isEmpty_)
        text_ += ',';
    newLine();
    isEmpty_ = false;
}

/// Its lines follow the depth: no text in JSON holds a line end of its own.
void JsonOutput::append(const nlohmann::ordered_json& value)
{
    for (const char c : dumped(value)) {
        if (c == '\n')
            newLine();
        else
            text_ += c;
    }
}

void JsonOutput::newLine()
{
    text_.append("\n").append(kIndent * closing_.size(), ' ');
}

void JsonOutput::flushIfLong()
{
    if (text_.size() > kLongText)
        console_.data(std::exchange(text_, {}));
}

void printJson(Console& console, const nlohmann::ordered_json& document)
{
    console.data(dumped(document) + '\n');
}
