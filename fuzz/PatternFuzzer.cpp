#include "FuzzHost.h"
#include "FuzzTexts.h"
#include "VLR_RandomPassword.h"

#include <algorithm>
#include <cstring>

// A password pattern, with draws from the input. Equal draws make equal passwords, what is there stays in front, and no
// pattern makes more than the limit. Patterns without words and pairs are compared with a literal reading of the rules.

namespace {

constexpr char kPunctuation[] = "~!@#$%^&*/.,;:'\"?";

std::string generated(const std::string& pattern, const std::string& start)
{
    FuzzHost::get().drawn = 0;
    VLR_String password = textOf(start);
    succeeds([&] { VLR_RandomPassword::GenerateOnePassword(textOf(pattern), password); });
    return bytesOf(password);
}

/// The rules without limits, for patterns small enough to meet none. Gives up on what costs too much.
class Model {
public:
    void expand(const std::string& pattern)
    {
        for (std::size_t i = 0; i < pattern.size() && !ended && !tooLarge; ++i) {
            if (++steps > kMostSteps)
                tooLarge = true;
            else if (pattern[i] == '[')
                i = set(pattern, i);
            else if (pattern[i] == '{')
                i = repeat(pattern, i);
            else
                password += letter(pattern[i]);
        }
        ended = false; // the rest of an enclosing pattern goes on
    }

    std::string password;
    bool tooLarge = false;

private:
    static constexpr int kMostSteps = 20000;

    static uint32_t draw(std::size_t bound) { return FuzzHost::get().draw() % static_cast<uint32_t>(bound); }

    static std::string letter(char c)
    {
        const bool isCapital = c >= 'A' && c <= 'Z';
        switch (c) {
        case '#': return { static_cast<char>('0' + draw(10)) };
        case 'x':
        case 'X': return { static_cast<char>((isCapital ? 'A' : 'a') + draw(26)) };
        case 'p':
        case 'P': return { kPunctuation[draw(std::strlen(kPunctuation))] };
        default: return { c };
        }
    }

    /// Where the set ends: on its closing bracket, or at the pattern's end if it gives the rest up.
    std::size_t set(const std::string& pattern, std::size_t open)
    {
        std::string members;
        for (std::size_t i = open + 1; i < pattern.size(); ++i) {
            ++steps;
            if (pattern[i] == '[' || pattern[i] == '{' || pattern[i] == '}')
                break;
            if (pattern[i] != ']') {
                members += pattern[i];
            } else if (!members.empty()) { // in front of any member it is none and closes nothing
                expand({ members[draw(members.size())] });
                return i;
            }
        }
        ended = true;
        return pattern.size();
    }

    static int64_t numberOf(const std::string& text)
    {
        uint32_t number = 0;
        bool isNegative = false;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (i == 0 && text[i] == '-')
                isNegative = true;
            if (text[i] >= '0' && text[i] <= '9')
                number = number * 10 + static_cast<uint32_t>(text[i] - '0');
        }
        const auto value = static_cast<int32_t>(isNegative ? 0u - number : number);
        return value < 0 ? -int64_t { value } : value;
    }

    std::size_t repeat(const std::string& pattern, std::size_t open)
    {
        std::string fields[3];
        std::size_t count = 1;
        int depth = 0;
        for (std::size_t i = open; i < pattern.size(); ++i) {
            const char c = pattern[i];
            depth += c == '{' ? 1 : c == '}' ? -1 : 0;
            if (depth == 0) {
                steps += static_cast<int>(i - open);
                if (count == 3)
                    expandTimes(fields);
                return i;
            }
            if (c == ':' && depth == 1)
                ++count;
            else if (i > open && count <= 3)
                fields[count - 1] += c;
        }
        ended = true;
        return pattern.size();
    }

    void expandTimes(const std::string (&fields)[3])
    {
        const int64_t first = numberOf(fields[1]);
        const int64_t second = numberOf(fields[2]);
        const int64_t difference = std::max(first, second) - std::min(first, second);
        if (std::max(first, second) > kMostSteps) {
            tooLarge = true;
            return;
        }
        const int64_t times = std::min(first, second) + draw(static_cast<std::size_t>(difference) + 1);
        for (int64_t i = 0; i < times && !fields[0].empty() && !tooLarge; ++i)
            expand(fields[0]);
    }

    int steps = 0;
    bool ended = false; // for this pattern, body or set
};

void expectAsTheRulesSay(const std::string& pattern, const std::string& password)
{
    if (pattern.find_first_of("aAwWsS") != std::string::npos)
        return;
    FuzzHost::get().drawn = 0;
    Model model;
    model.expand(pattern);
    if (!model.tooLarge)
        expect(password == model.password, "the password is as the rules say");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    FuzzInput input(data, size);
    FuzzHost::get().draws = input.bytes(input.below(32));
    FuzzHost::get().file = "ab:cdef\ncd:ab\nef:cd\n";
    const std::string start = input.bytes(input.below(4));
    const std::string pattern = input.rest();
    const std::string password = generated(pattern, start);
    expect(password.compare(0, start.size(), start) == 0, "what is there stays in front");
    expect(password.size() <= start.size() + VLR_RandomPassword::kMostOutput, "no pattern makes more than the limit");
    if (pattern.size() < 4096) {
        if (password.size() < 65536)
            expect(generated(pattern, start) == password, "equal draws make equal passwords");
        expectAsTheRulesSay(pattern, password.substr(start.size()));
    }
    return 0;
}
