#include "cmncrypto/GCMCrypter.h"

#include "encryption/CrypterStatus.h"
#include "encryption/GcmDecryption.h"
#include "encryption/GcmEncryption.h"
#include "frame/Logging.h"
#include "ossl/Algorithms.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto::Encryption {

namespace {

constexpr const char* gcmConstructorTag = "GCMCrypter::GCMCrypter";

} // namespace

class GCMCrypter::Impl {
public:
    explicit Impl(const std::string& keyBytes) : key(keyBytes) {}

    ossl::SecretBytes key;
    int error = statusDone; // of the object: either side's failure stops both until one is reset
    GcmEncryption encryption{key, error};
    GcmDecryption decryption{key, error};
};

GCMCrypter::GCMCrypter(const std::string& key) {
    ossl::clearErrors();
    const EVP_CIPHER* cipher = ossl::cipher(ossl::Cipher::aes256Gcm);
    if (cipher == nullptr) {
        ossl::clearErrors();
        clogmsg(logFailure, gcmConstructorTag, "Failed to obtain cipher function EVP_aes_256_gcm");
        throwStatus(gcmConstructorTag, statusFailed);
    }
    const auto keyLength = static_cast<size_t>(EVP_CIPHER_get_key_length(cipher));
    if (key.size() != keyLength) {
        clogmsg(logFailure, gcmConstructorTag, "Key len: expected %zu, got %zu.(%d)", keyLength, key.size(), __LINE__);
        throwStatus(gcmConstructorTag, statusFailed);
    }
    m_impl = std::make_unique<Impl>(key);
    GCMCrypter::encryptReset(); // a side whose reset fails refuses its data until another reset
    GCMCrypter::decryptReset();
}

GCMCrypter::~GCMCrypter() = default;

int GCMCrypter::add_authenticated_data_encrypt(const unsigned char* data, size_t length) {
    return m_impl->encryption.addAuthenticatedData(data, length);
}

int GCMCrypter::encrypt(const unsigned char* data, size_t length, bool final) {
    return m_impl->encryption.encrypt(data, length, final);
}

int GCMCrypter::getEncryptedData(const unsigned char** data, size_t* length) {
    return m_impl->encryption.handOut(data, length);
}

int GCMCrypter::add_authenticated_data_decrypt(const unsigned char* data, size_t length) {
    return m_impl->decryption.addAuthenticatedData(data, length);
}

int GCMCrypter::decrypt(const unsigned char* data, size_t length, bool final) {
    return m_impl->decryption.decrypt(data, length, final);
}

int GCMCrypter::getDecryptedData(const unsigned char** data, size_t* length) {
    return m_impl->decryption.handOut(data, length);
}

int GCMCrypter::reset() {
    const int encryption = GCMCrypter::encryptReset();
    return bothReset(encryption, GCMCrypter::decryptReset());
}

int GCMCrypter::encryptReset() {
    return m_impl->encryption.reset();
}

int GCMCrypter::decryptReset() {
    return m_impl->decryption.reset();
}

} // namespace CmnCrypto::Encryption
