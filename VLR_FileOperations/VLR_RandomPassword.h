#pragma once

#include "VLR_RandomPasswordParts.h"
#include "VLR_String.h"

#include <cstdint>

/// Turns a pattern into a password.
///
/// A pattern is read byte by byte. `#` draws a digit, `x` a letter, `p` a punctuation character, `a` and `w` a word of
/// the short and of the full list, `s` a letter pair that goes on from what is there; a capital of them gives capitals.
/// `[...]` draws one of its bytes and expands it in turn; `{body:min:max}` expands its body that many times. Every
/// other byte stands for itself; there is no escape. A malformed pattern is not reported: a set or repeat that is not
/// closed, or a set with a bracket or brace inside, ends the generation there, a repeat without exactly three fields
/// adds nothing, and what was generated so far stays. So does a pattern that asks for too much (the limits below).
/// The draws are as good as the host's VLR_System::RandomUInt32 and VLR_RandomDraw. One thread at a time.
class VLR_RandomPassword {
public:
    /// Appends a password to `password`, on which a leading `s` goes on.
    /// Raises: the failures of VLR_RandomWord and VLR_PhoneticPassword, with what was generated before.
    static void GenerateOnePassword(const VLR_String& pattern, VLR_String& password);

    /// `output` receives the bytes, and must outlive the generator.
    explicit VLR_RandomPassword(VLR_String& output);
    VLR_RandomPassword(const VLR_RandomPassword&) = delete;
    VLR_RandomPassword& operator=(const VLR_RandomPassword&) = delete;

    /// Expands a stretch of a pattern; answers a copy of the output as it then stands.
    VLR_String GenRange(unsigned char* begin, unsigned char* end);

    /// From a `[` or `{`. Leaves the cursor on the closing byte, or on `end` if the rest of the pattern is given up.
    void GenBracket(unsigned char** cursor, unsigned char* end);
    void GenBraces(unsigned char** cursor, unsigned char* end);

    static constexpr uint32_t kMostOutput = 1u << 20; // bytes that one generator adds
    static constexpr uint32_t kMostLevels = 1000; // of sets and repeats inside each other
    static constexpr uint64_t kMostSteps = 1u << 24; // pattern bytes looked at: repeats of nothing must end too

private:
    void Expand(unsigned char* begin, unsigned char* end);
    void ExpandLetter(unsigned char byte);
    void ExpandPiece(unsigned char byte);
    void AppendByte(unsigned char byte);
    void AppendBytes(const unsigned char* bytes, uint32_t n);
    bool TakeSteps(uint64_t n);

    VLR_String& output;
    VLR_WordLists words;
    uint64_t outputLeft = kMostOutput;
    uint64_t stepsLeft = kMostSteps;
    uint32_t level = 0;
    bool ended = false; // at a limit: nothing more is generated
};
