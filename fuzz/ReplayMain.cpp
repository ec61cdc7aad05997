#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

// The main of a fuzzer without an engine: runs the files of a folder, and then as many changed ones as asked for, the
// same ones in every run. Call: fuzz_NAME FOLDER CHANGED, or fuzz_NAME FILE... for inputs that were found to break
// something.

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);
extern "C" std::size_t LLVMFuzzerMutate(uint8_t* data, std::size_t size, std::size_t maxSize);
extern "C" [[gnu::weak]] std::size_t LLVMFuzzerCustomMutator(
    uint8_t* data, std::size_t size, std::size_t maxSize, unsigned seed);
extern "C" [[gnu::weak]] void __sanitizer_set_death_callback(void (*callback)());

namespace {

using Bytes = std::vector<uint8_t>;

constexpr std::size_t kLargest = 4096;
constexpr double kMostSeconds = 2; // of processor time: machines that test are busy, and sanitizers slow

std::mt19937 gRandom(20261121);
const Bytes* gPresent = nullptr; // the input that runs

std::size_t below(std::size_t bound)
{
    return bound == 0 ? 0 : gRandom() % bound;
}

Bytes contentOf(const std::filesystem::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return { std::istreambuf_iterator<char>(file), {} };
}

/// Leaves the input that broke something where it can be tried again.
void keepPresentInput()
{
    if (gPresent == nullptr)
        return;
    const std::filesystem::path path = std::filesystem::current_path() / "fuzz-finding";
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(gPresent->data()), static_cast<std::streamsize>(gPresent->size()));
    std::fprintf(stderr, "The input is in %s\n", path.c_str());
}

void run(const Bytes& input)
{
    gPresent = &input;
    const std::clock_t start = std::clock();
    LLVMFuzzerTestOneInput(input.data(), input.size());
    const double seconds = static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
    if (seconds > kMostSeconds) {
        std::fprintf(stderr, "TOO SLOW: %.1f seconds\n", seconds);
        std::abort();
    }
    gPresent = nullptr;
}

void change(Bytes& input)
{
    for (std::size_t changes = 1 + below(4); changes > 0; --changes) {
        input.resize(kLargest + input.size());
        const std::size_t size = input.size() - kLargest;
        const auto seed = static_cast<unsigned>(gRandom());
        input.resize(LLVMFuzzerCustomMutator != nullptr
                ? LLVMFuzzerCustomMutator(input.data(), size, input.size(), seed)
                : LLVMFuzzerMutate(input.data(), size, input.size()));
    }
}

int replay(const std::filesystem::path& folder, std::size_t changed)
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    std::vector<Bytes> seeds;
    for (const std::filesystem::path& file : files)
        seeds.push_back(contentOf(file));
    if (seeds.empty()) {
        std::fprintf(stderr, "no seeds in %s\n", folder.c_str());
        return EXIT_FAILURE;
    }
    for (const Bytes& seed : seeds)
        run(seed);
    for (std::size_t i = 0; i < changed; ++i) {
        Bytes input = seeds[i % seeds.size()];
        change(input);
        run(input);
    }
    std::printf("%zu seeds, %zu changed\n", seeds.size(), changed);
    return EXIT_SUCCESS;
}

} // namespace

/// The engine's changes in small: a byte, a stretch gone, doubled or from elsewhere, a number that counts use.
extern "C" std::size_t LLVMFuzzerMutate(uint8_t* data, std::size_t size, std::size_t maxSize)
{
    static const Bytes kNumbers[] = { { 0xFF, 0xFF, 0xFF, 0xFF }, { 0x7F, 0xFF, 0xFF, 0xFF }, { 0, 0, 0, 0 },
        { 0, 0, 0, 1 }, { 0xFF, 0xFF, 0xFF, 0xFC } };
    Bytes input(data, data + size);
    const std::size_t at = below(size + 1);
    const std::size_t last = at + below(std::min<std::size_t>(size - at, 32) + 1);
    const Bytes stretch(
        input.begin() + static_cast<std::ptrdiff_t>(at), input.begin() + static_cast<std::ptrdiff_t>(last));
    const auto place = input.begin() + static_cast<std::ptrdiff_t>(below(size + 1));
    const Bytes& number = kNumbers[below(std::size(kNumbers))];
    switch (below(5)) {
    case 0:
        input.erase(input.begin() + static_cast<std::ptrdiff_t>(at), input.begin() + static_cast<std::ptrdiff_t>(last));
        break;
    case 1: input.insert(place, stretch.begin(), stretch.end()); break;
    case 2: input.insert(place, number.begin(), number.end()); break;
    case 3: input.insert(place, static_cast<uint8_t>(gRandom())); break;
    default:
        if (at < size)
            input[at] = static_cast<uint8_t>(below(2) == 0 ? input[at] ^ (1u << below(8)) : gRandom());
    }
    input.resize(std::min(input.size(), maxSize));
    std::copy(input.begin(), input.end(), data);
    return input.size();
}

int main(int argc, char** argv)
{
    LLVMFuzzerInitialize(&argc, &argv);
    std::signal(SIGABRT, [](int) { keepPresentInput(); });
    if (__sanitizer_set_death_callback != nullptr)
        __sanitizer_set_death_callback(keepPresentInput);
    if (argc == 3 && std::filesystem::is_directory(argv[1]))
        return replay(argv[1], std::stoul(argv[2]));
    for (int i = 1; i < argc; ++i)
        run(contentOf(argv[i]));
    return EXIT_SUCCESS;
}
