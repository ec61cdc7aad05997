#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>
#include <string_view>

class Console;

/// The number of the form that all --json outputs have; it changes when a reader of the old form would go wrong.
/// docs/json-output.md and resources/vellorin.schema.json describe it.
inline constexpr int kJsonSchema = 1;

/// An object with "schema" and "command", to be filled by the command.
nlohmann::ordered_json jsonDocument(const std::string& command);

/// A path or any other text of a file. UTF-8 is a plain string; anything else is an object with "text", in which each
/// wrong byte is U+FFFD, and "hex", the bytes themselves.
nlohmann::ordered_json jsonText(std::string_view bytes);

/// Back from such a value. Raises: CommandFailure if it is none.
std::string bytesOfJson(const nlohmann::ordered_json& value);

/// One document with a line end, to standard output.
void printJson(Console& console, const nlohmann::ordered_json& document);
