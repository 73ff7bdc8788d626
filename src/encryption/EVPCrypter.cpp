#include "cmncrypto/EVPCrypter.h"

#include "encryption/CbcSide.h"
#include "frame/Logging.h"

namespace CmnCrypto::Encryption {

namespace {

constexpr const char* constructorTag = "EVPCrypter::EVPCrypter";

} // namespace

class EVPCrypter::Impl {
public:
    Impl(const std::string& keyBytes, const std::string& ivBytes) : key(keyBytes), iv(ivBytes) {}

    ossl::SecretBytes key;
    ossl::SecretBytes iv;
    CbcSide encryption{CbcSide::Direction::encrypt, ossl::Cipher::aes256Cbc, key, "EVPCrypter::encryptReset",
                       "EVPCrypter::encrypt"};
    CbcSide decryption{CbcSide::Direction::decrypt, ossl::Cipher::aes256Cbc, key, "EVPCrypter::decryptReset",
                       "EVPCrypter::decrypt"};
};

EVPCrypter::EVPCrypter(EVPCryptType type, const std::string& key, const std::string& iv) {
    logWithLine(constructorTag, "Entering", __LINE__); // a failure's level without a failure: hosts count on it
    if (type != EVP_CRYPT_AES_256_CBC) {
        clogmsg(logFailure, constructorTag, "EVPCryptType specified was incorrect %d(%d)", type, __LINE__);
        throwStatus(constructorTag, statusFailed);
    }
    const EVP_CIPHER* cipher = EVP_aes_256_cbc(); // for its lengths
    const auto keyLength = static_cast<size_t>(EVP_CIPHER_get_key_length(cipher));
    const auto ivLength = static_cast<size_t>(EVP_CIPHER_get_iv_length(cipher));
    if (key.size() != keyLength || iv.size() != ivLength) {
        clogmsg(logFailure, constructorTag, "Key len: expected %zu, got %zu. IV len: expected %zu, got %zu.(%d)",
                keyLength, key.size(), ivLength, iv.size(), __LINE__);
        throwStatus(constructorTag, statusFailed);
    }
    m_impl = std::make_unique<Impl>(key, iv);
    if (EVPCrypter::reset() != statusDone) {
        throwStatus(constructorTag, statusFailed);
    }
}

EVPCrypter::~EVPCrypter() = default;

int EVPCrypter::encrypt(const unsigned char* data, size_t length, bool final) {
    return m_impl->encryption.feed(data, length, final);
}

int EVPCrypter::getEncryptedData(const unsigned char** data, size_t* length) {
    return m_impl->encryption.handOut(data, length);
}

int EVPCrypter::decrypt(const unsigned char* data, size_t length, bool final) {
    return m_impl->decryption.feed(data, length, final);
}

int EVPCrypter::getDecryptedData(const unsigned char** data, size_t* length) {
    return m_impl->decryption.handOut(data, length);
}

int EVPCrypter::reset() {
    const int encryption = EVPCrypter::encryptReset();
    return bothReset(encryption, EVPCrypter::decryptReset());
}

int EVPCrypter::encryptReset() {
    m_impl->encryption.open();
    return m_impl->encryption.init(m_impl->iv.data());
}

int EVPCrypter::decryptReset() {
    m_impl->decryption.open();
    return m_impl->decryption.init(m_impl->iv.data());
}

} // namespace CmnCrypto::Encryption
