// An AES_256_GCM stream with authenticated data through the classes: encrypt, decrypt, and an altered copy refused.
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "cmncrypto/cmncrypto.hpp"

using CmnCrypto::Encryption::CryptFactory;
using CmnCrypto::Encryption::KSCrypt;

namespace {

constexpr int authenticationFailed = 1270;

const unsigned char* bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

void expect(int code, int wanted, const char* step) {
    if (code != wanted) {
        throw std::runtime_error(std::string(step) + ": unexpected status " + std::to_string(code));
    }
}

std::string encrypt(KSCrypt& crypter, const std::string& text, const std::string& aad) {
    const unsigned char* data = nullptr;
    size_t length = 0;
    expect(crypter.encryptReset(), 0, "encryptReset");
    expect(crypter.add_authenticated_data_encrypt(bytes(aad), aad.size()), 0, "add_authenticated_data_encrypt");
    expect(crypter.encrypt(bytes(text), text.size(), true), 0, "encrypt");
    expect(crypter.getEncryptedData(&data, &length), 0, "getEncryptedData");
    return {reinterpret_cast<const char*>(data), length};
}

// The status of the final call; the plaintext only when that is 0.
int decrypt(KSCrypt& crypter, const std::string& stream, const std::string& aad, std::string& text) {
    const unsigned char* data = nullptr;
    size_t length = 0;
    text.clear();
    expect(crypter.decryptReset(), 0, "decryptReset");
    expect(crypter.add_authenticated_data_decrypt(bytes(aad), aad.size()), 0, "add_authenticated_data_decrypt");
    const int code = crypter.decrypt(bytes(stream), stream.size(), true);
    if (code == 0) {
        expect(crypter.getDecryptedData(&data, &length), 0, "getDecryptedData");
        text.assign(reinterpret_cast<const char*>(data), length);
    }
    return code;
}

void run(const std::string& text, const std::string& aad) {
    const auto type = KSCrypt::stringToCryptType("AES_256_GCM");
    std::string key(KSCrypt::cryptTypeToKeyLen(type), '\0');
    CmnCrypto::RandomNumberGenerator::generateRandomBytes(reinterpret_cast<unsigned char*>(key.data()),
                                                          static_cast<int>(key.size()));
    const std::unique_ptr<KSCrypt> crypter(CryptFactory::createCrypter(type, key, ""));

    std::string stream = encrypt(*crypter, text, aad);
    std::cout << "key    " << CmnCrypto::CmnApi::binToHex(key) << '\n'
              << "stream " << CmnCrypto::CmnApi::binToHex(stream) << '\n'
              << stream.size() << " bytes: 12 of IV, " << stream.size() - 28 << " of ciphertext, 16 of tag\n";

    std::string decrypted;
    expect(decrypt(*crypter, stream, aad, decrypted), 0, "decrypt");
    if (decrypted != text) {
        throw std::runtime_error("the decrypted text differs");
    }
    std::cout << "decrypted: " << decrypted << '\n';

    expect(decrypt(*crypter, stream, aad + "!", decrypted), authenticationFailed, "other authenticated data");
    stream[12] = static_cast<char>(stream[12] ^ 1);
    expect(decrypt(*crypter, stream, aad, decrypted), authenticationFailed, "altered stream");
    std::cout << "altered stream, altered authenticated data: refused with " << authenticationFailed << '\n';
}

} // namespace

int main(int argc, char** argv) {
    try {
        run(argc > 1 ? argv[1] : "The quick brown fox", argc > 2 ? argv[2] : "message 1");
        return EXIT_SUCCESS;
    } catch (const std::exception& e) {
        std::cerr << e.what() << '\n';
        return EXIT_FAILURE;
    }
}
