// AES-256-GCM streams in pieces of any size, on a crypter that has seen any sequence of operations before; compared
// with OpenSSL called directly. The input's bytes are operations first, then sizes of pieces.

#include <algorithm>

#include "Harness.h"
#include "testlib/Oracle.h"

using namespace fuzz;
using Encryption::KSCrypt;

namespace {

const std::string key(32, 'k');
constexpr auto ciphertext = &KSCrypt::getEncryptedData;
constexpr auto plaintext = &KSCrypt::getDecryptedData;

std::string take(KSCrypt& crypter, int (KSCrypt::*get)(const unsigned char**, size_t*)) {
    const unsigned char* data = bytesOf(key);
    size_t length = 1;
    const int result = (crypter.*get)(&data, &length);
    require(result == 0 || (result == 1223 && data == nullptr && length == 0), "no output after a failure");
    return textOf(data, static_cast<long>(length));
}

/** Any operations on a crypter: what was never encrypted may not come out decrypted. */
void misuse(KSCrypt& crypter, const std::string& input) {
    for (size_t i = 0; i < input.size(); ++i) {
        const auto* const data = bytesOf(input) + i;
        const size_t length = std::min<size_t>(input.size() - i, 40);
        const bool high = *data >= 128;
        const int results[] = {*data % 4 == 0 ? crypter.add_authenticated_data_encrypt(data, length) : 0,
                               *data % 5 == 0 ? crypter.add_authenticated_data_decrypt(data, length) : 0,
                               *data % 4 == 1 ? crypter.encrypt(data, length, high) : 0,
                               *data % 4 == 2 ? crypter.decrypt(data, length, high) : 0,
                               *data % 8 == 3 ? (high ? crypter.encryptReset() : crypter.decryptReset()) : 0};
        for (const int result : results) {
            require(result == 0 || result == 1223 || result == 1224 || result == 1270, "a known status");
        }
        require(take(crypter, plaintext).empty(), "no plaintext");
    }
}

/** Decrypts in pieces. @return the status of the last one */
int decrypt(KSCrypt& crypter, const std::string& aad, const std::string& stream, const std::string& sizes) {
    crypter.add_authenticated_data_decrypt(bytesOf(aad), aad.size());
    size_t done = 0;
    for (const char size : sizes) {
        const std::string piece = stream.substr(done, static_cast<unsigned char>(size));
        require(crypter.decrypt(bytesOf(piece), piece.size(), false) == 0 && take(crypter, plaintext).empty(),
                "held back");
        done += piece.size();
    }
    return crypter.decrypt(bytesOf(stream) + done, stream.size() - done, true);
}

} // namespace

void fuzz::tryOut(const std::string& input) {
    const std::unique_ptr<KSCrypt> crypter(Encryption::CryptFactory::createCrypter(KSCrypt::AES_256_GCM, key, ""));
    const size_t first = input.empty() ? 0 : bytesOf(input)[0];
    const std::string aad = input.substr(0, first % 64);
    succeeds([&] {
        misuse(*crypter, input);
        require(crypter->reset() == 0, "a new begin");
        std::string plain;
        std::string stream;
        crypter->add_authenticated_data_encrypt(bytesOf(aad), aad.size());
        for (const char byte : input) {
            const size_t size = static_cast<unsigned char>(byte);
            const std::string piece(size * (size % 16), byte);
            plain += piece;
            require(crypter->encrypt(bytesOf(piece), piece.size(), false) == 0, "encryption");
            stream += size % 3 == 0 ? take(*crypter, ciphertext) : "";
        }
        require(crypter->encrypt(nullptr, 0, true) == 0, "the end of encryption");
        stream += take(*crypter, ciphertext);
        require(stream.substr(12) == testlib::oracle::gcmEncrypt(key, stream.substr(0, 12), aad, plain), "as OpenSSL");
        std::string changed = stream;
        char& byte = changed[first * 7 % stream.size()];
        byte = static_cast<char>(byte ^ 1 << first % 8);
        require(decrypt(*crypter, aad, changed, input) == 1270 && take(*crypter, plaintext).empty(),
                "tampering is seen");
        require(crypter->decrypt(nullptr, 0, false) == 1223 && crypter->decryptReset() == 0, "shut until a reset");
        require(decrypt(*crypter, aad, stream, input) == 0 && take(*crypter, plaintext) == plain, "decryption");
    });
}
