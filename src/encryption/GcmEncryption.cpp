#include "encryption/GcmEncryption.h"

#include <algorithm>

#include "encryption/CrypterStatus.h"
#include "frame/Logging.h"
#include "hashing/SeededRandom.h"
#include "ossl/Algorithms.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto::Encryption {

namespace {

constexpr const char* encryptionResetTag = "GCMCrypter::encryptReset";
constexpr const char* encryptionAadTag = "GCMCrypter::add_authenticated_data_encrypt";
constexpr const char* encryptTag = "GCMCrypter::encrypt";

} // namespace

GcmEncryption::GcmEncryption(const ossl::SecretBytes& key, int& error)
    : m_key(key), m_error(error), m_context(EVP_CIPHER_CTX_new()) {}

/** A new IV, under the key schedule that is at hand if it still serves. @return null, or what failed and where */
const char* GcmEncryption::start(unsigned char (&iv)[gcmIvLength], int& line) {
    const EVP_CIPHER* cipher = ossl::cipher(ossl::Cipher::aes256Gcm);
    const bool scheduled = m_scheduled != nullptr && m_scheduled == cipher;
    if (!scheduled) {
        EVP_CIPHER_CTX_reset(m_context.get());
    }
    if (!m_context || cipher == nullptr ||
        EVP_EncryptInit_ex(m_context.get(), scheduled ? nullptr : cipher, nullptr, nullptr, nullptr) != 1) {
        line = __LINE__;
        return "EVP_EncryptInit_ex returned FAILURE";
    }
    if (!scheduled &&
        EVP_CIPHER_CTX_ctrl(m_context.get(), EVP_CTRL_GCM_SET_IVLEN, static_cast<int>(gcmIvLength), nullptr) != 1) {
        line = __LINE__;
        return "EVP_CIPHER_CTX_ctrl returned FAILURE";
    }
    if (!fillRandom(iv, gcmIvLength)) {
        line = __LINE__;
        return "mangleGetRandom returned FAILURE";
    }
    if (EVP_EncryptInit_ex(m_context.get(), nullptr, nullptr, scheduled ? nullptr : m_key.data(), iv) != 1) {
        line = __LINE__;
        return "Encryption initialization returned FAILURE";
    }
    if (!m_output.bytes.append(iv, sizeof iv)) {
        line = __LINE__;
        return "Failed to allocate memory for the output";
    }
    m_scheduled = EVP_CIPHER_CTX_get0_cipher(m_context.get());
    return nullptr;
}

int GcmEncryption::reset() {
    ossl::clearErrors();
    m_error = statusDone;
    m_output.reset();
    unsigned char iv[gcmIvLength];
    int line = 0;
    const char* failed = start(iv, line);
    if (failed != nullptr) {
        close(statusFailed);
        logWithLine(encryptionResetTag, failed, line);
        logSslError(encryptionResetTag);
        return m_error;
    }
    m_phase = Phase::aadAllowed;
    return statusDone;
}

int GcmEncryption::addAuthenticatedData(const unsigned char* data, size_t length) {
    if (m_error != statusDone) {
        return statusFailed;
    }
    if (m_phase != Phase::aadAllowed) {
        m_error = statusRefused;
        clogmsg(logFailure, encryptionAadTag, "Attempted to add AAD when it is not allowed");
        return m_error;
    }
    if (data == nullptr && length != 0) {
        return statusRefused;
    }
    ossl::clearErrors();
    return feedAuthenticatedData(EVP_EncryptUpdate, m_context.get(), data, length)
               ? statusDone
               : fail(encryptionAadTag, "EVP_EncryptUpdate returned FAILURE");
}

int GcmEncryption::encrypt(const unsigned char* data, size_t length, bool final) {
    if (m_error != statusDone) {
        return statusFailed;
    }
    if (m_phase == Phase::finished) {
        m_error = statusRefused;
        return m_error;
    }
    if (data == nullptr && length != 0) {
        return statusRefused;
    }
    ossl::clearErrors();
    m_phase = Phase::dataStarted;
    m_output.begin();
    if (length > SIZE_MAX - GCM_TAG_LEN || !m_output.bytes.reserve(length + GCM_TAG_LEN)) {
        return fail(encryptTag, "Failed to allocate memory for the output");
    }
    while (length > 0) {
        const size_t piece = std::min(length, gcmLargestPiece);
        int produced = 0;
        if (EVP_EncryptUpdate(m_context.get(), m_output.bytes.end(), &produced, data, static_cast<int>(piece)) != 1) {
            return fail(encryptTag, "EVP_EncryptUpdate returned FAILURE");
        }
        m_output.bytes.extend(static_cast<size_t>(produced));
        data += piece;
        length -= piece;
    }
    return final ? finish() : statusDone;
}

int GcmEncryption::finish() {
    m_phase = Phase::finished;
    int produced = 0; // GCM has nothing left to give
    if (EVP_EncryptFinal_ex(m_context.get(), m_output.bytes.end(), &produced) != 1 ||
        EVP_CIPHER_CTX_ctrl(m_context.get(), EVP_CTRL_GCM_GET_TAG, static_cast<int>(GCM_TAG_LEN),
                            m_output.bytes.end()) != 1) {
        return fail(encryptTag, "EVP_EncryptFinal_ex returned FAILURE");
    }
    m_output.bytes.extend(GCM_TAG_LEN);
    return statusDone;
}

int GcmEncryption::fail(const char* function, const char* text) {
    close(statusRefused);
    clogmsg(logFailure, function, "%s", text);
    logSslError(function);
    return m_error;
}

// The recorded error is the object's and the other side's reset clears it too: the phase keeps a stream shut that
// has lost a piece, or that would run under an old IV.
void GcmEncryption::close(int error) {
    m_error = error;
    m_phase = Phase::finished;
    m_scheduled = nullptr;
}

} // namespace CmnCrypto::Encryption
