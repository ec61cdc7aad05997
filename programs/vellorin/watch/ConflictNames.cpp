#include "ConflictNames.h"

#include <regex>
#include <string>
#include <vector>

namespace {

// What the forms are made of. Each has two groups: what stands in the original's name before the mark, and behind it.
const std::string kStem = R"(^(.+))";
const std::string kExtension = R"((\.[^.]*)?$)";
const std::string kDate = R"(\d{4}-\d{2}-\d{2})";
const std::string kFurther = R"((?: ?\(\d+\))?)"; // number of a further copy on the same day

/// In as many languages as spell it alike: conflict, conflicto, conflitto, conflit, Konflikt, конфликт, конфлікт. And
/// in Chinese, Japanese and Korean.
const std::string kConflict = "(?:[Cc]onfli|[Kk]onfli|онфл|冲突|衝突|競合|충돌)";

struct Form {
    const char* synchroniser;
    std::regex pattern;
};

const std::vector<Form>& forms()
{
    static const std::vector<Form> kForms = {
        // NAME.sync-conflict-20261121-104512-ABCDEFG.EXT; older ones don't name the device
        { "Syncthing", std::regex(kStem + R"(\.sync-conflict-\d{8}-\d{6}(?:-[A-Z2-7]{7})?)" + kExtension) },

        // NAME (conflicted copy 2026-11-21 104512).EXT, some with the user's name; NAME_conflict-... in older ones
        { "Nextcloud",
            std::regex(kStem + R"( \(conflicted copy (?:.+ )?)" + kDate + R"( \d{6}\))" + kFurther + kExtension) },
        { "Nextcloud", std::regex(kStem + R"(_conflict-\d{8}-\d{6})" + kExtension) },

        // NAME (conflict_on_2026-11-21).EXT, some with a number or the host's name; and its backups of what it replaced
        { "Unison",
            std::regex(kStem + R"( \(conflict(?:[_ ]#?\d+)?[_ ]on[_ ])" + kDate + R"((?:[_ ][^()]+)?\))" + kExtension) },
        { "Unison", std::regex(R"(^()\.bak\.\d+\.(.+)$)") },
        { "Unison", std::regex(R"(^(.+?)(?:\.\d+)?\.unison\.bak()$)") },

        // NAME (HOST's conflicted copy 2026-11-21).EXT in its user's language: a word for conflict, and the date
        { "Dropbox",
            std::regex(kStem + R"( \([^()]*)" + kConflict + R"([^()]*)" + kDate + kFurther + R"(\))" + kFurther
                + kExtension) },
    };
    return kForms;
}

std::optional<ConflictName> oneStepBack(const std::string& name)
{
    for (const Form& form : forms()) {
        std::smatch parts;
        if (std::regex_match(name, parts, form.pattern))
            return ConflictName { form.synchroniser, parts[1].str() + parts[2].str() };
    }
    return std::nullopt;
}

constexpr std::size_t kLongestName = 255; // of a file system; the patterns take room by the length

} // namespace

std::optional<ConflictName> conflictNameOf(const std::string& name)
{
    if (name.size() > kLongestName)
        return std::nullopt;
    std::optional<ConflictName> result = oneStepBack(name);
    if (!result)
        return std::nullopt;
    while (const std::optional<ConflictName> further = oneStepBack(result->original))
        result->original = further->original;
    return result;
}

bool isNumberedBackup(const std::string& name)
{
    static const std::regex kForm(R"(^.+ backup (?:[1-9]\d?|100))" + kExtension);
    return name.size() <= kLongestName && std::regex_match(name, kForm);
}

bool isUnfinishedFile(const std::string& name)
{
    // In this order: this project, Syncthing, Nextcloud, Unison
    static const std::regex kForm(
        R"(^(?:\..+\.[0-9a-f]{16}|[.~]syncthing[.~].+\.tmp|\..+\.~[0-9a-f]+|\.unison\..+\.unison\.tmp)$)");
    return name.size() <= kLongestName && std::regex_match(name, kForm);
}
