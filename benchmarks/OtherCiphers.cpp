#include "OtherCiphers.h"

#include <memory>
#include <stdexcept>

#ifdef VELLORIN_WITH_OPENSSL
#include <openssl/evp.h>
#include <openssl/provider.h>
#endif
#ifdef VELLORIN_WITH_BOTAN
#include <botan/block_cipher.h>
#endif
#ifdef VELLORIN_WITH_GCRYPT
#include <gcrypt.h>
#endif
#ifdef VELLORIN_WITH_NETTLE
#include <nettle/blowfish.h>
#endif
#ifdef VELLORIN_WITH_CRYPTOPP
#include <cryptopp/blowfish.h>
#include <cryptopp/modes.h>
#endif

namespace {

constexpr char kNotBuiltIn[] = "not found when this was built";

[[maybe_unused]] const unsigned char* bytesOf(const std::string& key)
{
    return reinterpret_cast<const unsigned char*>(key.data());
}

[[maybe_unused]] void require(bool done, const char* what)
{
    if (!done)
        throw std::runtime_error(std::string(what) + " refuses the key or the cipher");
}

void addOpenSSL(OtherCipher& entry, const std::string& key)
{
#ifdef VELLORIN_WITH_OPENSSL
    // The cipher is in the legacy provider; loading that alone would unload the default one.
    require(OSSL_PROVIDER_load(nullptr, "legacy") != nullptr && OSSL_PROVIDER_load(nullptr, "default") != nullptr,
        "the legacy provider");
    EVP_CIPHER* const cipher = EVP_CIPHER_fetch(nullptr, "BF-ECB", nullptr); // lives as long as the process
    using Context = std::shared_ptr<EVP_CIPHER_CTX>;
    const auto keyed = [cipher, key](int enciphering) {
        const Context context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
        require(EVP_CipherInit_ex2(context.get(), cipher, nullptr, nullptr, enciphering, nullptr) == 1
                && EVP_CIPHER_CTX_set_key_length(context.get(), static_cast<int>(key.size())) == 1
                && EVP_CipherInit_ex2(context.get(), nullptr, bytesOf(key), nullptr, enciphering, nullptr) == 1
                && EVP_CIPHER_CTX_set_padding(context.get(), 0) == 1,
            "OpenSSL");
        return context;
    };
    const auto update = [](const Context& context) {
        return [context](const unsigned char* in, unsigned char* out, std::size_t length) {
            int written = 0;
            EVP_CipherUpdate(context.get(), out, &written, in, static_cast<int>(length));
        };
    };
    entry.encipher = update(keyed(1));
    entry.decipher = update(keyed(0));
    // A program that keys often keeps its context; so does this.
    const Context again = keyed(1);
    entry.setUpKey = [again, key] { EVP_CipherInit_ex2(again.get(), nullptr, bytesOf(key), nullptr, 1, nullptr); };
#else
    (void)key;
    entry.absence = kNotBuiltIn;
#endif
}

void addBotan(OtherCipher& entry, const std::string& key)
{
#ifdef VELLORIN_WITH_BOTAN
    const std::shared_ptr<Botan::BlockCipher> cipher = Botan::BlockCipher::create_or_throw("Blowfish");
    cipher->set_key(bytesOf(key), key.size());
    entry.encipher = [cipher](const unsigned char* in, unsigned char* out, std::size_t length) {
        cipher->encrypt_n(in, out, length / 8);
    };
    entry.decipher = [cipher](const unsigned char* in, unsigned char* out, std::size_t length) {
        cipher->decrypt_n(in, out, length / 8);
    };
    entry.setUpKey = [cipher, key] { cipher->set_key(bytesOf(key), key.size()); };
#else
    (void)key;
    entry.absence = kNotBuiltIn;
#endif
}

void addGcrypt(OtherCipher& entry, const std::string& key)
{
#ifdef VELLORIN_WITH_GCRYPT
    gcry_check_version(nullptr);
    gcry_control(GCRYCTL_DISABLE_SECMEM, 0);
    gcry_control(GCRYCTL_INITIALIZATION_FINISHED, 0);
    gcry_cipher_hd_t opened = nullptr;
    require(gcry_cipher_open(&opened, GCRY_CIPHER_BLOWFISH, GCRY_CIPHER_MODE_ECB, 0) == 0, "libgcrypt");
    const std::shared_ptr<gcry_cipher_handle> cipher(opened, gcry_cipher_close);
    require(gcry_cipher_setkey(cipher.get(), key.data(), key.size()) == 0, "libgcrypt");
    entry.encipher = [cipher](const unsigned char* in, unsigned char* out, std::size_t length) {
        gcry_cipher_encrypt(cipher.get(), out, length, in, length);
    };
    entry.decipher = [cipher](const unsigned char* in, unsigned char* out, std::size_t length) {
        gcry_cipher_decrypt(cipher.get(), out, length, in, length);
    };
    entry.setUpKey = [cipher, key] { gcry_cipher_setkey(cipher.get(), key.data(), key.size()); };
#else
    (void)key;
    entry.absence = kNotBuiltIn;
#endif
}

void addNettle(OtherCipher& entry, const std::string& key)
{
#ifdef VELLORIN_WITH_NETTLE
    const auto cipher = std::make_shared<blowfish_ctx>();
    blowfish_set_key(cipher.get(), key.size(), bytesOf(key));
    entry.encipher = [cipher](const unsigned char* in, unsigned char* out, std::size_t length) {
        blowfish_encrypt(cipher.get(), length, out, in);
    };
    entry.decipher = [cipher](const unsigned char* in, unsigned char* out, std::size_t length) {
        blowfish_decrypt(cipher.get(), length, out, in);
    };
    entry.setUpKey = [cipher, key] { blowfish_set_key(cipher.get(), key.size(), bytesOf(key)); };
#else
    (void)key;
    entry.absence = kNotBuiltIn;
#endif
}

void addCryptoPP(OtherCipher& entry, const std::string& key)
{
#ifdef VELLORIN_WITH_CRYPTOPP
    using CryptoPP::Blowfish;
    const auto in = std::make_shared<CryptoPP::ECB_Mode<Blowfish>::Encryption>(bytesOf(key), key.size());
    const auto out = std::make_shared<CryptoPP::ECB_Mode<Blowfish>::Decryption>(bytesOf(key), key.size());
    entry.encipher
        = [in](const unsigned char* from, unsigned char* to, std::size_t length) { in->ProcessData(to, from, length); };
    entry.decipher = [out](const unsigned char* from, unsigned char* to, std::size_t length) {
        out->ProcessData(to, from, length);
    };
    const auto bare = std::make_shared<Blowfish::Encryption>();
    entry.setUpKey = [bare, key] { bare->SetKey(bytesOf(key), key.size()); };
#else
    (void)key;
    entry.absence = kNotBuiltIn;
#endif
}

} // namespace

std::vector<OtherCipher> otherCiphers(const std::string& key)
{
    using Add = void (*)(OtherCipher&, const std::string&);
    constexpr std::pair<const char*, Add> kLibraries[] = { { "OpenSSL", addOpenSSL }, { "Botan", addBotan },
        { "libgcrypt", addGcrypt }, { "Nettle", addNettle }, { "Crypto++", addCryptoPP } };
    std::vector<OtherCipher> result;
    for (const auto& [name, add] : kLibraries) {
        OtherCipher& entry = result.emplace_back();
        entry.name = name;
        try {
            add(entry, key);
        } catch (const std::exception& failure) {
            entry.absence = failure.what();
        }
    }
    return result;
}
