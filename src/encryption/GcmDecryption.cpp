#include "encryption/GcmDecryption.h"

#include <algorithm>
#include <cstring>

#include "encryption/CrypterStatus.h"
#include "frame/Assertion.h"
#include "frame/Logging.h"
#include "ossl/Algorithms.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto::Encryption {

namespace {

constexpr const char* decryptionResetTag = "GCMCrypter::decryptReset";
constexpr const char* decryptionAadTag = "GCMCrypter::add_authenticated_data_decrypt";
constexpr const char* decryptTag = "GCMCrypter::decrypt";

// What the final call decrypts at a time: small enough for a processor's cache, large enough to cost nothing.
constexpr size_t decryptPiece = size_t{1} << 18;

} // namespace

void GcmDecryption::TagCache::append(const unsigned char* bytes, size_t length) noexcept {
    if (length != 0) {
        std::memcpy(m_bytes + m_size, bytes, length);
        m_size += length;
    }
}

void GcmDecryption::TagCache::dropFront(size_t length) noexcept {
    m_size -= length;
    std::memmove(m_bytes, m_bytes + length, m_size);
}

GcmDecryption::GcmDecryption(const ossl::SecretBytes& key, int& error)
    : m_key(key), m_error(error), m_context(EVP_CIPHER_CTX_new()) {}

/** Puts the context at the start of a decryption, keeping a key schedule that still serves. */
bool GcmDecryption::prepareContext() {
    const EVP_CIPHER* cipher = ossl::cipher(ossl::Cipher::aes256Gcm);
    const bool scheduled = m_scheduled != nullptr && m_scheduled == cipher;
    if (!scheduled) {
        m_scheduled = nullptr;
        EVP_CIPHER_CTX_reset(m_context.get());
    }
    return m_context && cipher != nullptr &&
           EVP_DecryptInit_ex(m_context.get(), scheduled ? nullptr : cipher, nullptr, nullptr, nullptr) == 1;
}

int GcmDecryption::reset() {
    ossl::clearErrors();
    m_error = statusDone;
    m_phase = Phase::reset;
    m_ivLength = 0;
    m_cachedTag.clear();
    m_aad.release();
    m_collected.release();
    m_output.reset();
    if (!prepareContext()) {
        close(statusFailed);
        clogmsg(logFailure, decryptionResetTag, "EVP_DecryptInit_ex returned FAILURE");
        logSslError(decryptionResetTag);
    }
    return m_error;
}

int GcmDecryption::addAuthenticatedData(const unsigned char* data, size_t length) {
    if (m_error != statusDone) {
        return statusFailed;
    }
    if (m_phase != Phase::reset) {
        m_error = statusRefused;
        clogmsg(logFailure, decryptionAadTag, "Attempted to add AAD when it is not allowed");
        return m_error;
    }
    if (data == nullptr && length != 0) {
        return statusRefused;
    }
    if (!m_aad.append(data, length)) {
        close(statusRefused);
        clogmsg(logFailure, decryptionAadTag, "Failed to allocate memory for the AAD");
    }
    return m_error;
}

int GcmDecryption::decrypt(const unsigned char* data, size_t length, bool final) {
    if (m_error != statusDone) {
        return statusFailed;
    }
    if (data == nullptr && length != 0) {
        return statusRefused;
    }
    ossl::clearErrors();
    m_output.begin();
    if (m_phase == Phase::finished) {
        m_error = statusRefused;
        return m_error;
    }
    if (m_phase == Phase::reset) {
        m_phase = Phase::readingIv;
    }
    if (m_phase == Phase::readingIv && readIv(data, length) != statusDone) {
        return m_error;
    }
    if (m_phase == Phase::readingData && readData(data, length) != statusDone) {
        return m_error;
    }
    return final ? finish() : statusDone;
}

/** Takes what the IV still lacks off the input, and starts the cipher once it is whole. */
int GcmDecryption::readIv(const unsigned char*& data, size_t& length) {
    const size_t taken = std::min(length, gcmIvLength - m_ivLength);
    clogmsg(logTrace, decryptTag, "Reading %zu bytes into IV", taken);
    if (taken != 0) {
        std::memcpy(m_iv + m_ivLength, data, taken);
        m_ivLength += taken;
        data += taken;
        length -= taken;
    }
    if (m_ivLength < gcmIvLength) {
        return statusDone;
    }
    // Lengths, never key bytes.
    clogmsg(logTrace, decryptTag, "Initializing key (%zu bytes) and IV (%zu bytes)", m_key.size(), gcmIvLength);
    const unsigned char* key = m_scheduled == nullptr ? m_key.data() : nullptr;
    if (EVP_DecryptInit_ex(m_context.get(), nullptr, nullptr, key, m_iv) != 1) {
        return fail("EVP_DecryptInit_ex returned FAILURE", statusRefused);
    }
    m_scheduled = EVP_CIPHER_CTX_get0_cipher(m_context.get());
    m_ivLength = 0;
    m_phase = Phase::readingData;
    return statusDone;
}

/** Moves everything but the last 16 bytes of cache and input to the collected ciphertext. */
int GcmDecryption::readData(const unsigned char* data, size_t length) {
    const size_t cachedTagSize = m_cachedTag.size();
    CMNCRYPTO_ASSERT(cachedTagSize <= GCM_TAG_LEN, decryptTag, "cached_tag_size <= (size_t)GCM_TAG_LEN",
                     "the tag cache holds more than a tag");
    if (length > SIZE_MAX - GCM_TAG_LEN) {
        return fail("Failed to allocate memory for the stream", statusRefused);
    }
    const bool longInput = length > GCM_TAG_LEN;
    const size_t fromInput = longInput ? length - GCM_TAG_LEN : 0;
    const size_t beyondTag = length > GCM_TAG_LEN - cachedTagSize ? cachedTagSize + length - GCM_TAG_LEN : 0;
    const size_t fromCache = longInput ? cachedTagSize : beyondTag;
    clogmsg(logTrace, decryptTag,
            "Total data available =%zu, size_to_read_from_input =%zu, size_to_read_from_cache =%zu, "
            "cached_tag_size =%zu",
            cachedTagSize + length, fromInput, fromCache, cachedTagSize);
    if (beyondTag == 0) {
        clogmsg(logTrace, decryptTag, "Adding %zu bytes to tag cache", length);
        m_cachedTag.append(data, length);
        return statusDone;
    }
    if (!m_collected.append(m_cachedTag.data(), fromCache) || !m_collected.append(data, fromInput)) {
        return fail("Failed to allocate memory for the stream", statusRefused);
    }
    m_cachedTag.dropFront(fromCache);
    m_cachedTag.append(data + fromInput, length - fromInput);
    CMNCRYPTO_ASSERT(m_cachedTag.size() == GCM_TAG_LEN, decryptTag, "m_cached_tag.size() == (size_t)GCM_TAG_LEN",
                     "the tag cache does not hold a tag");
    return statusDone;
}

int GcmDecryption::finish() {
    if (m_cachedTag.size() < GCM_TAG_LEN) {
        close(statusRefused);
        clogmsg(logFailure, decryptTag, "sufficient tag size was not accumulated");
        return m_error;
    }
    m_phase = Phase::finished;
    m_collected.keepSecret(); // plaintext from here on, and never handed out before the tag is checked
    if (EVP_CIPHER_CTX_ctrl(m_context.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(GCM_TAG_LEN), m_cachedTag.data()) !=
        1) {
        return fail("EVP_CIPHER_CTX_ctrl returned FAILURE", statusRefused);
    }
    m_cachedTag.clear();
    if (!addStoredAad()) {
        return fail(nullptr, statusRefused);
    }
    if (!decryptCollected()) {
        return fail("EVP_DecryptUpdate returned FAILURE", statusRefused);
    }
    unsigned char nothing[GCM_TAG_LEN];
    int produced = 0;
    if (EVP_DecryptFinal_ex(m_context.get(), nothing, &produced) != 1) {
        return fail("EVP_DecryptFinal_ex returned FAILURE", statusNotAuthentic);
    }
    m_output.bytes.swap(m_collected);
    return statusDone;
}

bool GcmDecryption::addStoredAad() {
    if (m_aad.size() == 0) {
        clogmsg(logTrace, decryptTag, "No AAD was provided");
    } else {
        clogmsg(logTrace, decryptTag, "Adding AAD (%zu)", m_aad.size());
    }
    return feedAuthenticatedData(EVP_DecryptUpdate, m_context.get(), m_aad.data(), m_aad.size());
}

bool GcmDecryption::decryptCollected() {
    for (size_t done = 0; done < m_collected.size();) {
        const size_t piece = std::min(m_collected.size() - done, decryptPiece);
        unsigned char* place = m_collected.data() + done;
        int produced = 0;
        clogmsg(logTrace, decryptTag, "Decrypting %zu bytes", piece);
        if (EVP_DecryptUpdate(m_context.get(), place, &produced, place, static_cast<int>(piece)) != 1) {
            return false;
        }
        clogmsg(logTrace, decryptTag, "Got %d bytes of decrypted output", produced);
        done += piece;
    }
    return true;
}

/** Records a failure and logs it, with a text of its own if there is one. */
int GcmDecryption::fail(const char* text, int status) {
    close(status);
    if (text != nullptr) {
        clogmsg(logFailure, decryptTag, "%s", text);
    }
    logSslError(decryptTag);
    return m_error;
}

// The recorded error is the object's and the other side's reset clears it too: the phase keeps a refused stream
// shut. Nothing that was collected or decrypted outlives it.
void GcmDecryption::close(int error) {
    m_error = error;
    m_phase = Phase::finished;
    m_scheduled = nullptr;
    m_cachedTag.clear();
    m_collected.release();
}

} // namespace CmnCrypto::Encryption
