#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

class VLR_String;

// The two sources of pronounceable pieces for generated passwords: whole words, and a chain of letter pairs. Each draw
// is one VLR_RandomDraw reduced by modulo, with the small bias of that. docs/generators.md tells the resulting
// strengths.

/// Picks words from the word lists among the program's resources (resources/make_resources.py tells their format).
class VLR_RandomWord {
public:
    VLR_RandomWord() = delete;

    /// Replaces `word` by a word of the short or of the full list, as it stands there. Always true.
    ///
    /// Reads 254 bytes from a random place and takes the word behind the one that the place lies in, so a word is as
    /// likely as the word before it is long. The size of a list is taken once in a process: a list that changes later
    /// is judged by its old size.
    /// Raises: code VLR_ExceptionDictionaryOpen if the list can't be opened; code VLR_ExceptionFile if it is shorter
    /// than
    /// 255 bytes, can't be read, or has no word there. The list is closed in any case.
    static bool RandomWordFromDictionary(VLR_String& word, bool shortList);
};

/// The same word lists for one generation, which may ask for very many words: each list is opened at its first word and
/// stays open as long as this object is there.
class VLR_WordLists {
public:
    VLR_WordLists();
    ~VLR_WordLists();
    VLR_WordLists(const VLR_WordLists&) = delete;
    VLR_WordLists& operator=(const VLR_WordLists&) = delete;

    /// As VLR_RandomWord::RandomWordFromDictionary. Cost: two calls of the system.
    bool RandomWord(VLR_String& word, bool shortList);

private:
    class List;

    std::unique_ptr<List> shortOne;
    std::unique_ptr<List> fullOne;
};

/// Makes pronounceable passwords: the last two letters select, from a table read once, the pairs that may follow them.
class VLR_PhoneticPassword {
public:
    virtual ~VLR_PhoneticPassword() = default;
    VLR_PhoneticPassword(const VLR_PhoneticPassword&) = delete;
    VLR_PhoneticPassword& operator=(const VLR_PhoneticPassword&) = delete;

    /// The single object, made at the first call. Raises: the host's failure code if the table can't be read; the next
    /// call tries again.
    static const VLR_PhoneticPassword& Object();

    /// Replaces `password` by a whole one of five pairs, less the first letter if both of the first pair are
    /// consonants.
    /// Raises: as Object; code VLR_ExceptionFile if the table has no line, as does RandomPhonemeExtension.
    static void GenPassword(std::string& password);

    /// Replaces `extension` by a pair that may follow the end of `soFar`, in lower case. Always true.
    static bool RandomPhonemeExtension(VLR_String& soFar, VLR_String& extension);

    /// A number below `range`. Raises: code VLR_ExceptionFile for 0.
    static unsigned long GenRandom(unsigned long range);

    void GenPassword_(std::string& password) const;

    /// Appends a pair to two bytes or more; fewer are replaced by a first pair, a single byte is lost on purpose.
    void ExtendPassword(std::string& password) const;

    /// A key of the table, each as likely as any other.
    std::string RandomFirst() const;

    /// A follower of the pair; a first pair for one that the table does not know.
    std::string RandomSecond(const std::string& pair) const;

    /// True for everything but a, e, i, o, u of either case: for "y", digits and punctuation too.
    bool IsConsonant(char c) const;

private:
    VLR_PhoneticPassword();
    void AddLine(const std::string& line);

    std::map<std::string, std::string> phonemes; // pair to the pairs that follow it, repeated by frequency
};
