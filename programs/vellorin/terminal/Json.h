#pragma once

#include <nlohmann/json_fwd.hpp>

#include <optional>
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

/// The same as text in one line, made without an object of the library: its end wants memory, and where there is none it
/// ends the program.
std::string jsonTextInLine(std::string_view bytes);

/// What the digits of such a "hex" stand for. Absent if they are anything but pairs of hexadecimal digits.
std::optional<std::string> bytesOfHex(std::string_view digits);

/// A document like that of jsonDocument, written piece by piece, for lists that would take many times the memory of the
/// file that they tell of. What was begun and not finished is a part of a document, or nothing.
class JsonOutput {
public:
    /// Begins the object. `console` must outlive the object.
    JsonOutput(Console& console, const std::string& command);

    void member(const std::string& name, const nlohmann::ordered_json& value);
    void beginList(const std::string& name);
    void element(const nlohmann::ordered_json& value);
    void beginObject(); // an element

    /// Of the list or the object that has begun last.
    void end();

    /// Ends all that has begun, with a line end. Each operation raises what Console::data raises.
    void finish();

private:
    void open(char bracket);
    void startEntry();
    void append(const nlohmann::ordered_json& value);
    void newLine();
    void flushIfLong();

    Console& console_;
    std::string text_; // not written yet
    std::string closing_; // brackets
    bool isEmpty_ = true; // the innermost list or object
};

/// One document with a line end, to standard output.
void printJson(Console& console, const nlohmann::ordered_json& document);
