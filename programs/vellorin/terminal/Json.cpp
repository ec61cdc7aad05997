#include "Json.h"

#include "Console.h"
#include "ExitStatus.h"
#include "Utf8.h"

#include <nlohmann/json.hpp>

#include <charconv>

namespace {

constexpr char kReplacement[] = "\xEF\xBF\xBD"; // U+FFFD

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

/// False for anything but pairs of digits.
bool appendBytesOfHex(std::string_view hex, std::string& bytes)
{
    for (; hex.size() >= 2; hex.remove_prefix(2)) {
        unsigned char byte = 0;
        const auto [end, error] = std::from_chars(hex.data(), hex.data() + 2, byte, 16);
        if (error != std::errc() || end != hex.data() + 2)
            return false;
        bytes += static_cast<char>(byte);
    }
    return hex.empty();
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

std::string bytesOfJson(const nlohmann::ordered_json& value)
{
    if (value.is_string())
        return value.get<std::string>();
    std::string bytes;
    const auto hex = value.is_object() ? value.find("hex") : value.end();
    if (hex == value.end() || !hex->is_string() || !appendBytesOfHex(hex->get_ref<const std::string&>(), bytes))
        throw CommandFailure(kFailed, "a text in JSON is neither a string nor an object with \"hex\"");
    return bytes;
}

void printJson(Console& console, const nlohmann::ordered_json& document)
{
    // Without anything but ASCII, so that no character of a name steers a terminal here either.
    console.data(document.dump(2, ' ', /*ensure_ascii=*/true) + '\n');
}
