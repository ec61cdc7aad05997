// The cipher against OpenSSL's, in one run: bytes per second on two sizes of buffer, and key set-ups per second.

#include "VLR_BlowFish.h"

#include <openssl/evp.h>
#include <openssl/provider.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <vector>

namespace {

constexpr char kKey[] = "open sesame";
constexpr int kRounds = 5;

/// Calls per second, the best of some rounds of a fifth of a second: what disturbs only makes it slower.
double rate(const std::function<void()>& work)
{
    using Clock = std::chrono::steady_clock;
    double best = 0;
    for (int round = 0; round < kRounds; ++round) {
        const auto begin = Clock::now();
        long calls = 0;
        std::chrono::duration<double> spent {};
        do {
            work();
            ++calls;
            spent = Clock::now() - begin;
        } while (spent.count() < 0.2);
        best = std::max(best, static_cast<double>(calls) / spent.count());
    }
    return best;
}

void report(const char* what, double ours, double theirs, const char* unit)
{
    std::printf("%-24s %12.1f %12.1f %-12s %6.2f\n", what, ours, theirs, unit, ours / theirs);
}

EVP_CIPHER_CTX* keyedContext(const EVP_CIPHER* cipher)
{
    EVP_CIPHER_CTX* const context = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex2(context, cipher, nullptr, nullptr, nullptr);
    EVP_CIPHER_CTX_set_key_length(context, sizeof kKey - 1);
    EVP_EncryptInit_ex2(context, nullptr, reinterpret_cast<const unsigned char*>(kKey), nullptr, nullptr);
    EVP_CIPHER_CTX_set_padding(context, 0);
    return context;
}

} // namespace

int main()
{
    if (OSSL_PROVIDER_load(nullptr, "legacy") == nullptr || OSSL_PROVIDER_load(nullptr, "default") == nullptr) {
        std::puts("OpenSSL's legacy provider is not there; nothing to compare with");
        return 1;
    }
    EVP_CIPHER* const cipher = EVP_CIPHER_fetch(nullptr, "BF-ECB", nullptr);
    EVP_CIPHER_CTX* const theirs = keyedContext(cipher);
    const VLR_String password(kKey, VLR_CharacterSetUTF8);
    VLR_BlowFish ours;
    ours.SetPassword(password, /*padToKeyLength=*/false);

    std::printf("%-24s %12s %12s %-12s %6s\n", "", "ours", "OpenSSL", "", "ratio");
    for (const uint32_t size : { 65536u, 304u }) {
        VLR_MemoryBlock block(nullptr, size);
        std::vector<unsigned char> in(size), out(size);
        int length = 0;
        const double ourRate = rate([&] { ours.EncryptMemoryBlock(block); }) * size / 1e6;
        const double theirRate
            = rate([&] { EVP_EncryptUpdate(theirs, out.data(), &length, in.data(), static_cast<int>(size)); }) * size / 1e6;
        report(size > 1000 ? "buffers of 64 KiB" : "buffers of 304 bytes", ourRate, theirRate, "MB/s");
    }
    report("key set-ups", rate([&] { ours.SetPassword(password, false); }), rate([&] {
        EVP_CIPHER_CTX_free(keyedContext(cipher));
    }), "per second");
    EVP_CIPHER_CTX_free(theirs);
    EVP_CIPHER_free(cipher);
    return 0;
}
