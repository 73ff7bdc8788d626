#include "cmncrypto/MangleCrypter.h"

#include <algorithm>
#include <cstring>

#include "encryption/CbcSide.h"
#include "frame/Logging.h"
#include "hashing/SeededRandom.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto::Encryption {

namespace {

constexpr const char* mangleConstructorTag = "MangleCrypter::MangleCrypter";
constexpr const char* encryptResetTag = "MangleCrypter::encryptReset";

struct MangleRow {
    int type;
    ossl::Cipher cipher;
    size_t keyLength;
};

constexpr MangleRow mangleTypes[] = {
    {1, ossl::Cipher::aes128Cbc, 16},
    {2, ossl::Cipher::aes192Cbc, 24},
    {3, ossl::Cipher::aes256Cbc, 32},
};

/** The cipher of a type, refusing unknown types and keys of another length. */
ossl::Cipher chooseCipher(int type, size_t keyLength) {
    const auto* row = std::find_if(std::begin(mangleTypes), std::end(mangleTypes),
                                   [=](const MangleRow& r) { return r.type == type; });
    if (row == std::end(mangleTypes)) {
        clogmsg(logFailure, mangleConstructorTag, "Cipher type specified was incorrect %d(%d)", type, __LINE__);
        throwStatus(mangleConstructorTag, statusFailed);
    }
    if (keyLength != row->keyLength) {
        clogmsg(logFailure, mangleConstructorTag, "Key len: expected %zu, got %zu.(%d)", row->keyLength, keyLength,
                __LINE__);
        throwStatus(mangleConstructorTag, statusFailed);
    }
    return row->cipher;
}

} // namespace

class MangleCrypter::Impl {
public:
    Impl(ossl::Cipher cipher, const std::string& keyBytes)
        : key(keyBytes),
          encryption(CbcSide::Direction::encrypt, cipher, key, encryptResetTag, "MangleCrypter::encrypt"),
          decryption(CbcSide::Direction::decrypt, cipher, key, "MangleCrypter::decryptReset",
                     "MangleCrypter::decrypt") {}

    ossl::SecretBytes key;
    CbcSide encryption;
    CbcSide decryption;
    unsigned char streamIv[CbcSide::blockLength] = {}; // of the stream being decrypted, as far as it has come in
    size_t streamIvLength = 0;
};

MangleCrypter::MangleCrypter(int cipherType, const std::string& key)
    : m_impl(std::make_unique<Impl>(chooseCipher(cipherType, key.size()), key)) {
    if (MangleCrypter::reset() != statusDone) {
        throwStatus(mangleConstructorTag, statusFailed);
    }
}

MangleCrypter::~MangleCrypter() = default;

int MangleCrypter::encrypt(const unsigned char* data, size_t length, bool final) {
    return m_impl->encryption.feed(data, length, final);
}

int MangleCrypter::getEncryptedData(const unsigned char** data, size_t* length) {
    return m_impl->encryption.handOut(data, length);
}

int MangleCrypter::decrypt(const unsigned char* data, size_t length, bool final) {
    CbcSide& side = m_impl->decryption;
    size_t& collected = m_impl->streamIvLength;
    const int ready = side.readiness();
    if (ready != statusDone) {
        return ready;
    }
    if (data == nullptr && length != 0) {
        return statusRefused;
    }
    ossl::clearErrors();
    if (collected < CbcSide::blockLength) {
        const size_t taken = std::min(length, CbcSide::blockLength - collected);
        if (taken != 0) {
            std::memcpy(m_impl->streamIv + collected, data, taken);
            collected += taken;
            data += taken;
            length -= taken;
        }
        if (collected < CbcSide::blockLength) {
            return final ? side.failData("The stream is shorter than its IV", __LINE__) : statusDone;
        }
        if (side.init(m_impl->streamIv) != statusDone) {
            return statusRefused;
        }
    }
    return side.feed(data, length, final);
}

int MangleCrypter::getDecryptedData(const unsigned char** data, size_t* length) {
    return m_impl->decryption.handOut(data, length);
}

int MangleCrypter::reset() {
    const int encryption = MangleCrypter::encryptReset();
    return bothReset(encryption, MangleCrypter::decryptReset());
}

int MangleCrypter::encryptReset() {
    CbcSide& side = m_impl->encryption;
    unsigned char iv[CbcSide::blockLength];
    side.open();
    ossl::clearErrors();
    if (!fillRandom(iv, sizeof iv)) {
        return side.failReset("mangleGetRandom returned FAILURE", __LINE__);
    }
    const int result = side.init(iv);
    if (result == statusDone && !side.prefix(iv, sizeof iv)) {
        return side.failReset("Failed to allocate memory for the output", __LINE__);
    }
    return result;
}

int MangleCrypter::decryptReset() {
    m_impl->decryption.open();
    m_impl->streamIvLength = 0;
    return statusDone;
}

} // namespace CmnCrypto::Encryption
