#include "VLR_RandomPasswordParts.h"
#include "GeneratorFixture.h"

#include <iterator>
#include <set>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::ptrdiff_t openFiles()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

/// Words and pairs, with every file closed in the end.
class GeneratorParts : public Generator {
protected:
    ~GeneratorParts() override { EXPECT_EQ(openFiles(), filesBefore); }

    /// Code, function and line of what is raised.
    static std::string report(const std::function<void()>& work)
    {
        try {
            work();
        } catch (const VLR_Exception& raised) {
            return std::to_string(raised.code) + " " + str(raised.file) + " " + str(raised.function) + " "
                + std::to_string(raised.line);
        }
        return "";
    }

    std::string pick(std::deque<long> draws = {}, bool shortList = false) const
    {
        host.draws = std::move(draws);
        VLR_String word = S("what was there");
        EXPECT_TRUE(VLR_RandomWord::RandomWordFromDictionary(word, shortList));
        return str(word);
    }

    /// What `work` answers in a process of its own: the table of pairs is read once in a process, never in this one.
    static std::string inAChild(const std::function<std::string()>& work)
    {
        int ends[2];
        EXPECT_EQ(::pipe(ends), 0);
        const pid_t child = ::fork();
        if (child == 0) {
            const std::ptrdiff_t files = openFiles();
            std::string answer;
            const std::string raised = failure([&] { answer = work(); });
            answer += raised + (openFiles() == files ? "" : " (a file is open)");
            ::_exit(::write(ends[1], answer.data(), answer.size()) == static_cast<ssize_t>(answer.size()) ? 0 : 1);
        }
        ::close(ends[1]);
        std::string answer;
        char buffer[4096];
        for (ssize_t n = 0; (n = ::read(ends[0], buffer, sizeof buffer)) > 0;)
            answer.append(buffer, static_cast<std::size_t>(n));
        ::close(ends[0]);
        int status = -1;
        ::waitpid(child, &status, 0);
        return answer + (status == 0 ? "" : " (died)");
    }

private:
    const std::ptrdiff_t filesBefore = openFiles();
};

// Words

/// Words of 9 bytes, so that each begins at a multiple of 10.
std::string list(int count, char separator)
{
    std::string words;
    for (int i = 0; i < count; ++i)
        words += "word-" + std::to_string(1000 + i) + separator;
    return words;
}

TEST_F(GeneratorParts, ADrawDecidesTheWord)
{
    write(kFullList, list(40, '\r'));
    const struct {
        long draw;
        const char* word;
    } kCases[] = { { 0, "word-1001" }, { 8, "word-1001" }, { 9, "word-1001" }, { 10, "word-1002" },
        { 144, "word-1015" }, { 145, "word-1015" }, { 146, "word-1015" }, { 399, "word-1015" }, { 400, "word-1001" },
        { -12, "word-1002" }, { 2147483647, "word-1005" } };
    for (const auto& c : kCases)
        EXPECT_EQ(pick({ c.draw }), c.word) << c.draw;
    std::set<std::string> words;
    for (long draw = 0; draw < 400; ++draw)
        words.insert(pick({ draw }));
    EXPECT_EQ(words.size(), 15u); // neither the first nor those behind the last place
    EXPECT_EQ(*words.begin(), "word-1001");
    EXPECT_EQ(host.bounds, "");
    EXPECT_EQ(host.drawn, static_cast<int>(std::size(kCases)) + 400);
}

TEST_F(GeneratorParts, AStretchDecidesWhereAWordEnds)
{
    const std::string zeros(256, '\0');
    const std::string tail = " " + std::string(400, 'z');
    const struct {
        const char* name;
        std::string list, word;
    } kCases[] = {
        { "any blanks", "first \t\r\v\fsecond\fthird" + tail, "second" },
        { "blanks first", "\r\rfirst second" + tail, "first" },
        { "bytes of letters", "first \xC3\xA9\x85\xA0 third" + tail, "\xC3\xA9\x85\xA0" },
        { "line feeds", "first\nsecond\nthird" + tail, zeros.substr(6) },
        { "longer than the read", "first" + tail, std::string(248, 'z') + zeros.substr(254) },
        { "a zero byte is no blank", "first" + zeros.substr(254) + " x" + tail, "x" },
        { "exactly the shortest list", "first second " + std::string(242, 'z'), "second" },
    };
    for (const auto& c : kCases) {
        moveToNewFolder();
        write(kFullList, c.list);
        EXPECT_EQ(pick(), c.word) << c.name;
    }
}

TEST_F(GeneratorParts, AStretchWithoutAWordIsAFailure)
{
    write(kFullList, std::string(400, 'z'));
    EXPECT_EQ(report([&] { pick(); }), "5 VLR_RandomPasswordParts RandomWordFromDictionary 61");
}

TEST_F(GeneratorParts, LettersChooseTheList)
{
    write(kShortList, "first short~\xE9 " + std::string(300, 'z'));
    write(kFullList, "first Full1 " + std::string(300, 'z'));
    EXPECT_EQ(pick({}, /*shortList=*/true), "short~\xE9");
    EXPECT_EQ(generate("a-A-w-W-[A]", "so far "), "so far short~\xE9-SHORT~\xE9-Full1-FULL1-SHORT~\xE9");
}

TEST_F(GeneratorParts, ListsThatFailAreReported)
{
    const std::string notOpened = "11 VLR_RandomPasswordParts RandomWordFromDictionary 47";
    const std::string notRead = "5 VLR_RandomPasswordParts RandomWordFromDictionary 61";
    const auto failing = [&](bool shortList) { return report([&] { pick({ 399 }, shortList); }); };
    EXPECT_EQ(failing(true), notOpened);
    VLR_String password = S("so far ");
    EXPECT_EQ(report([&] { VLR_RandomPassword::GenerateOnePassword(S("bAd"), password); }), notOpened);
    EXPECT_EQ(str(password), "so far b");
    write(kShortList, list(40, '\r'));
    EXPECT_EQ(failing(true), notRead); // the size of the missing file stays
    EXPECT_EQ(host.drawn, 0);

    write(kFullList, list(40, '\r'));
    EXPECT_EQ(pick({ 0 }), "word-1001");
    write(kFullList, list(80, '\r'));
    EXPECT_EQ(pick({ 799 }), "word-1015"); // judged by the old size
    const std::string path = write(kFullList, "gone");
    EXPECT_EQ(failing(false), notRead);
    std::filesystem::remove(path);
    EXPECT_EQ(failing(false), notOpened);
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); // would wait for a writer
    EXPECT_EQ(failing(false), notOpened);

    for (const std::size_t size : { 0u, 1u, 254u }) {
        moveToNewFolder();
        write(kFullList, std::string(size, '\r'));
        EXPECT_EQ(failing(false), notRead) << size;
    }
}

// Pairs

TEST_F(GeneratorParts, TablesAreRead)
{
    const struct {
        std::string table;
        const char* firsts; // of the draws 0, 1, 2
        const char* pair;
        const char* seconds; // of the draws 0 to 6
    } kCases[] = {
        { "ab:cdcdef", "ab ab ab ", "ab", "cd cd cd cd ef ef cd " },
        { "st cd\rab?ef\r", "ab st ab ", "st", "cd cd cd cd cd cd cd " },
        { "st:cd\r\nab:efgh\r\n", "ab st ab ", "ab", "ef ef gh gh ef ef gh " },
        { "\n\nst:cd\nab:ef", "ab st ab ", "st", "cd cd cd cd cd cd cd " },
        { "ab:\ncd:ef", "cd cd cd ", "ab", "cd cd cd cd cd cd cd " },
        { "ab:cd\nab:efgh\nab:", "ab ab ab ", "ab", "ef ef gh gh ef ef gh " },
        { "a\nab\ncd:ef\n", "cd cd cd ", "a\n", "cd cd cd cd cd cd cd " },
        { "ab:cde", "ab ab ab ", "ab", "cd cd e cd cd e cd " },
        { "ab:c", "ab ab ab ", "ab", "c c c c c c c " },
        { "ab" + std::string(1, '\0') + "cd\n\xFFz:ef", "ab \xFFz ab ", "12", "ab \xFFz ab \xFFz ab \xFFz ab " },
    };
    for (const auto& c : kCases) {
        write(kTable, c.table);
        const auto read = [&] {
            std::string all;
            host.draws = { 0, -1, 2 };
            for (int i = 0; i < 3; ++i)
                all += VLR_PhoneticPassword::Object().RandomFirst() + " ";
            host.draws = { 0, 1, 2, 3, -4, 5, 6 };
            for (int i = 0; i < 7; ++i)
                all += VLR_PhoneticPassword::Object().RandomSecond(c.pair) + " ";
            return all + std::to_string(host.drawn);
        };
        EXPECT_EQ(inAChild(read), std::string(c.firsts) + c.seconds + "10") << c.table;
    }
}

TEST_F(GeneratorParts, PairsGoOnFromTheEnd)
{
    write(kTable, "ab:cdcdef\ncd:gh");
    const struct {
        std::string soFar, extended, extension;
    } kCases[] = { { "", "ab", "ab" }, { "x", "ab", "ab" }, { "ab", "abef", "ef" }, { "xAB", "xABab", "ef" },
        { "12", "12ab", "ab" }, { "zzcd", "zzcdgh", "gh" } };
    for (const auto& c : kCases) {
        const auto extend = [&] {
            host.draws = { 4, 4 };
            std::string password = c.soFar;
            VLR_PhoneticPassword::Object().ExtendPassword(password);
            VLR_String soFar = S(c.soFar);
            VLR_String extension = S("what was there");
            const bool done = VLR_PhoneticPassword::RandomPhonemeExtension(soFar, extension);
            return password + " " + str(soFar) + " " + str(extension) + (done ? "" : " false");
        };
        EXPECT_EQ(inAChild(extend), c.extended + " " + c.soFar + " " + c.extension);
    }
    EXPECT_EQ(inAChild([] { return generate("Sss[S]", "q"); }), "qABcdghAB");
}

TEST_F(GeneratorParts, APasswordBeginsWithAtMostOneConsonant)
{
    const struct {
        std::string table;
        std::deque<long> draws;
        const char* password;
    } kCases[] = { { "ab:cdcdef", { 0, 0, 0, 4, 0 }, "abcdabefab" }, { "st:an", {}, "tanstanst" },
        { "ey:an", {}, "eyaneyaney" }, { "yz:an", {}, "zanyzanyz" }, { "y1:an", {}, "1any1any1" },
        { "yU:an", {}, "yUanyUanyU" } };
    for (const auto& c : kCases) {
        write(kTable, c.table);
        const auto whole = [&] {
            host.draws = c.draws;
            std::string password = "what was there";
            VLR_PhoneticPassword::GenPassword(password);
            return password + " " + std::to_string(host.drawn);
        };
        EXPECT_EQ(inAChild(whole), std::string(c.password) + " 5");
    }
    const auto vowels = [] {
        std::string found;
        for (int c = 0; c < 256; ++c) {
            if (!VLR_PhoneticPassword::Object().IsConsonant(static_cast<char>(c)))
                found += static_cast<char>(c);
        }
        return found;
    };
    EXPECT_EQ(inAChild(vowels), "AEIOUaeiou");
}

TEST_F(GeneratorParts, TablesThatFailAreReported)
{
    VLR_String password = S("so far ");
    const auto failing = [&] { return report([&] { VLR_RandomPassword::GenerateOnePassword(S("bsd"), password); }); };
    const std::string at = " VLR_RandomPasswordParts VLR_PhoneticPassword 117";
    EXPECT_EQ(failing(), "-43" + at); // none there
    EXPECT_EQ(str(password), "so far b");
    host.readResult = 7;
    EXPECT_EQ(failing(), "7" + at);
    write(kTable, "ab:\n");
    const auto again = [&] {
        host.readResult = 0;
        const std::string raised = failing().substr(0, 2);
        return raised + str(password);
    };
    EXPECT_EQ(inAChild(again), "5 so far bbb"); // nothing in it
    write(kTable, "ab:cd");
    EXPECT_EQ(inAChild(again), "so far bbbabd"); // a failure is not for good
}

TEST_F(GeneratorParts, DrawsAreReduced)
{
    host.draws = { -17, 2147483647 };
    EXPECT_EQ(VLR_PhoneticPassword::GenRandom(10), 7u);
    EXPECT_EQ(VLR_PhoneticPassword::GenRandom(4294967296), 2147483647u);
    EXPECT_EQ(report([] { VLR_PhoneticPassword::GenRandom(0); }).substr(0, 2), "5 ");
}

} // namespace
