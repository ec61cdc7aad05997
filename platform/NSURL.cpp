#include "NSURL.h"

#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

namespace {

constexpr char kScheme[] = "file://";
constexpr char kLocalHost[] = "localhost";
constexpr char kDigits[] = "0123456789ABCDEF";

/// What stands for itself in the path of a URL.
bool isPlain(char c)
{
    const bool isLetterOrDigit = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
    return isLetterOrDigit || (c != '\0' && std::strchr("/-._~!$&'()*+,=:@", c) != nullptr);
}

std::string escaped(const std::string& path)
{
    std::string result;
    for (const char c : path) {
        if (isPlain(c)) {
            result += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        result += { '%', kDigits[byte >> 4], kDigits[byte & 15] };
    }
    return result;
}

std::optional<unsigned int> digitValue(char c)
{
    if (c >= '0' && c <= '9')
        return static_cast<unsigned int>(c - '0');
    if (c >= 'a' && c <= 'f')
        return static_cast<unsigned int>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F')
        return static_cast<unsigned int>(c - 'A' + 10);
    return std::nullopt;
}

/// Absent for an escape that is cut short or stands for a zero byte, which no path can hold, and for a query or
/// fragment.
std::optional<std::string> unescaped(const std::string& text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\0' || text[i] == '?' || text[i] == '#')
            return std::nullopt;
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        const auto high = i + 1 < text.size() ? digitValue(text[i + 1]) : std::nullopt;
        const auto low = i + 2 < text.size() ? digitValue(text[i + 2]) : std::nullopt;
        if (!high || !low || (*high == 0 && *low == 0))
            return std::nullopt;
        result += static_cast<char>(*high << 4 | *low);
        i += 2;
    }
    return result;
}

/// Without slashes at the end, nor dots that stand alone there: a folder's name comes last.
std::string withoutEmptyEnd(std::string path)
{
    while (path.size() > 1 && (path.back() == '/' || path.ends_with("/.")))
        path.pop_back();
    return path;
}

} // namespace

NSURL::NSURL(std::string path)
    : path_(withoutEmptyEnd(std::move(path)))
{
}

NSURL NSURL::fileURLWithPath(const std::string& path)
{
    if (path.empty() || path.front() == '/')
        return NSURL(path);
    std::error_code error;
    const std::string folder = std::filesystem::current_path(error).string();
    if (error) // the current folder is gone, and so is whatever the path meant
        return NSURL(path);
    return NSURL((folder == "/" ? "" : folder) + "/" + path);
}

std::optional<NSURL> NSURL::urlWithURLString(const std::string& text)
{
    if (text.rfind(kScheme, 0) != 0)
        return std::nullopt;
    std::string rest = text.substr(std::strlen(kScheme));
    if (rest.rfind(kLocalHost, 0) == 0)
        rest.erase(0, std::strlen(kLocalHost));
    if (rest.empty() || rest.front() != '/')
        return std::nullopt;
    std::optional<std::string> path = unescaped(rest);
    return path ? std::optional(NSURL(std::move(*path))) : std::nullopt;
}

std::string NSURL::urlString() const
{
    return kScheme + escaped(path_);
}
