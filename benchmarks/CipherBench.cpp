// The cipher beside that of other libraries, in one run: bytes per second on two sizes of buffer, in both directions,
// and key set-ups per second. Each is compared with the fastest of the others.

#include "Measure.h"
#include "OtherCiphers.h"
#include "VLR_BlowFish.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace {

constexpr char kKey[] = "open sesame";
constexpr double kBufferGoal = 1.0; // as fast as the fastest
constexpr double kKeyGoal = 0.95;

std::vector<unsigned char> sampleBytes(std::size_t length)
{
    std::vector<unsigned char> result(length);
    for (std::size_t i = 0; i < length; ++i)
        result[i] = static_cast<unsigned char>(i * 7 + i / 256);
    return result;
}

/// Whether the other library enciphers as ours does; one that doesn't is compared with in vain.
bool agrees(const OtherCipher& other, const VLR_BlowFish& ours)
{
    const std::vector<unsigned char> plain = sampleBytes(4096);
    VLR_MemoryBlock block(plain.data(), static_cast<uint32_t>(plain.size()));
    ours.EncryptMemoryBlock(block);
    std::vector<unsigned char> enciphered(plain.size()), deciphered(plain.size());
    other.encipher(plain.data(), enciphered.data(), plain.size());
    other.decipher(enciphered.data(), deciphered.data(), plain.size());
    return std::memcmp(block.Bytes(), enciphered.data(), plain.size()) == 0 && deciphered == plain;
}

/// A row of the table: ours first, then the others'.
void report(const char* what, const std::vector<std::function<void()>>& works, double scale, double goal)
{
    std::vector<double> rates = Measure::rates(works);
    std::printf("%-24s", what);
    for (double& rate : rates)
        std::printf(" %10.1f", rate *= scale);
    if (rates.size() > 1) {
        const double ratio = rates[0] / *std::max_element(rates.begin() + 1, rates.end());
        std::printf(" %8.2f  %.2f  %s", ratio, goal, ratio >= goal ? "ok" : "MISSED");
    }
    std::putchar('\n');
}

void reportBuffers(
    const char* what, std::size_t size, bool deciphering, VLR_BlowFish& ours, const std::vector<OtherCipher>& others)
{
    const std::vector<unsigned char> in = sampleBytes(size);
    std::vector<unsigned char> out(size);
    VLR_MemoryBlock block(in.data(), static_cast<uint32_t>(size));
    std::vector<std::function<void()>> works;
    works.emplace_back([&] { deciphering ? ours.DecryptMemoryBlock(block) : ours.EncryptMemoryBlock(block); });
    for (const OtherCipher& other : others) {
        const OtherCipher::Work& work = deciphering ? other.decipher : other.encipher;
        works.emplace_back([&] { work(in.data(), out.data(), size); });
    }
    report(what, works, static_cast<double>(size) / 1e6, kBufferGoal);
}

} // namespace

int main()
{
    const VLR_String password(kKey, VLR_CharacterSetUTF8);
    VLR_BlowFish ours;
    ours.SetPassword(password, /*padToKeyLength=*/false);

    std::vector<OtherCipher> others;
    for (OtherCipher& other : otherCiphers(kKey)) {
        if (other.absence.empty() && !agrees(other, ours))
            other.absence = "it enciphers otherwise";
        if (other.absence.empty())
            others.push_back(std::move(other));
        else
            std::printf("%s is left out: %s\n", other.name.c_str(), other.absence.c_str());
    }

    std::printf("%-24s %10s", "", "ours");
    for (const OtherCipher& other : others)
        std::printf(" %10s", other.name.c_str());
    std::puts("  fastest  at least");
    reportBuffers("encipher 64 KiB, MB/s", 65536, false, ours, others);
    reportBuffers("decipher 64 KiB, MB/s", 65536, true, ours, others);
    reportBuffers("encipher 304 bytes, MB/s", 304, false, ours, others);
    reportBuffers("decipher 304 bytes, MB/s", 304, true, ours, others);

    std::vector<std::function<void()>> keyings;
    keyings.emplace_back([&] { ours.SetPassword(password, /*padToKeyLength=*/false); });
    for (const OtherCipher& other : others)
        keyings.push_back(other.setUpKey);
    report("key set-ups per second", keyings, 1, kKeyGoal);
    return 0;
}
