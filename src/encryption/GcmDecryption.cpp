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

constexpr const char* resetTag = "GCMCrypter::decryptReset";
constexpr const char* aadTag = "GCMCrypter::add_authenticated_data_decrypt";
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
    if (m_scheduled != nullptr && m_scheduled == cipher &&
        EVP_DecryptInit_ex(m_context.get(), nullptr, nullptr, nullptr, nullptr) == 1) {
        return true;
    }
    m_scheduled = nullptr;
    EVP_CIPHER_CTX_reset(m_context.get());
    return m_context && cipher != nullptr &&
           EVP_DecryptInit_ex(m_context.get(), cipher, nullptr, nullptr, nullptr) == 1;
}

int GcmDecryption::reset() {
    ossl::clearErrors();
    m_error = statusDone;
    m_phase = Phase::reset;
    m_ivLength = 0;
    m_cached_tag.clear();
    m_aad.release();
    m_collected.release();
    m_output.reset();
    if (!prepareContext()) {
        clogmsg(logFailure, resetTag, "EVP_DecryptInit_ex returned FAILURE");
        logSslError(resetTag);
        m_phase = Phase::finished;
        m_error = statusFailed;
    }
    return m_error;
}

int GcmDecryption::addAuthenticatedData(const unsigned char* data, size_t length) {
    if (m_error != statusDone) {
        return statusFailed;
    }
    if (m_phase != Phase::reset) {
        clogmsg(logFailure, aadTag, "Attempted to add AAD when it is not allowed");
        m_error = statusRefused;
        return m_error;
    }
    if (data == nullptr && length != 0) {
        return statusRefused;
    }
    if (!m_aad.append(data, length)) {
        clogmsg(logFailure, aadTag, "Failed to allocate memory for the AAD");
        m_error = statusRefused;
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
    if (isLogged()) {
        clogmsg(logTrace, decryptTag, "Reading %zu bytes into IV", taken);
    }
    if (taken != 0) {
        std::memcpy(m_iv + m_ivLength, data, taken);
        m_ivLength += taken;
        data += taken;
        length -= taken;
    }
    if (m_ivLength < gcmIvLength) {
        return statusDone;
    }
    if (isLogged()) { // lengths, never key bytes
        clogmsg(logTrace, decryptTag, "Initializing key (%zu bytes) and IV (%zu bytes)", m_key.size(), gcmIvLength);
    }
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
    const size_t cached_tag_size = m_cached_tag.size();
    CMNCRYPTO_ASSERT(cached_tag_size <= GCM_TAG_LEN, decryptTag, "cached_tag_size <= (size_t)GCM_TAG_LEN",
                     "the tag cache holds more than a tag");
    const bool long_input = length > GCM_TAG_LEN;
    const size_t from_input = long_input ? length - GCM_TAG_LEN : 0;
    const size_t beyond_tag = cached_tag_size + length > GCM_TAG_LEN ? cached_tag_size + length - GCM_TAG_LEN : 0;
    const size_t from_cache = long_input ? cached_tag_size : beyond_tag;
    if (isLogged()) {
        clogmsg(logTrace, decryptTag,
                "Total data available =%zu, size_to_read_from_input =%zu, size_to_read_from_cache =%zu, "
                "cached_tag_size =%zu",
                cached_tag_size + length, from_input, from_cache, cached_tag_size);
    }
    if (beyond_tag == 0) {
        if (isLogged()) {
            clogmsg(logTrace, decryptTag, "Adding %zu bytes to tag cache", length);
        }
        m_cached_tag.append(data, length);
        return statusDone;
    }
    if (!m_collected.append(m_cached_tag.data(), from_cache) || !m_collected.append(data, from_input)) {
        return fail("Failed to allocate memory for the stream", statusRefused);
    }
    m_cached_tag.dropFront(from_cache);
    m_cached_tag.append(data + from_input, length - from_input);
    CMNCRYPTO_ASSERT(m_cached_tag.size() == GCM_TAG_LEN, decryptTag, "m_cached_tag.size() == (size_t)GCM_TAG_LEN",
                     "the tag cache does not hold a tag");
    return statusDone;
}

int GcmDecryption::finish() {
    if (m_cached_tag.size() < GCM_TAG_LEN) {
        clogmsg(logFailure, decryptTag, "sufficient tag size was not accumulated");
        m_error = statusRefused;
        return m_error;
    }
    m_phase = Phase::finished;
    m_collected.keepSecret(); // plaintext from here on, and never handed out before the tag is checked
    if (EVP_CIPHER_CTX_ctrl(m_context.get(), EVP_CTRL_GCM_SET_TAG, static_cast<int>(GCM_TAG_LEN),
                            m_cached_tag.data()) != 1) {
        return fail("EVP_CIPHER_CTX_ctrl returned FAILURE", statusRefused);
    }
    m_cached_tag.clear();
    if (!addStoredAad()) {
        logSslError(decryptTag);
        m_error = statusRefused;
        return m_error;
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
    if (isLogged()) {
        if (m_aad.size() == 0) {
            clogmsg(logTrace, decryptTag, "No AAD was provided");
        } else {
            clogmsg(logTrace, decryptTag, "Adding AAD (%zu)", m_aad.size());
        }
    }
    return feedAuthenticatedData(EVP_DecryptUpdate, m_context.get(), m_aad.data(), m_aad.size());
}

bool GcmDecryption::decryptCollected() {
    for (size_t done = 0; done < m_collected.size();) {
        const size_t piece = std::min(m_collected.size() - done, decryptPiece);
        unsigned char* place = m_collected.data() + done;
        int produced = 0;
        if (isLogged()) {
            clogmsg(logTrace, decryptTag, "Decrypting %zu bytes", piece);
        }
        if (EVP_DecryptUpdate(m_context.get(), place, &produced, place, static_cast<int>(piece)) != 1) {
            return false;
        }
        if (isLogged()) {
            clogmsg(logTrace, decryptTag, "Got %d bytes of decrypted output", produced);
        }
        done += piece;
    }
    return true;
}

/** Logs and records a failure; nothing that was collected or decrypted outlives it. */
int GcmDecryption::fail(const char* text, int status) {
    clogmsg(logFailure, decryptTag, "%s", text);
    logSslError(decryptTag);
    m_collected.release();
    m_scheduled = nullptr;
    m_error = status;
    return m_error;
}

} // namespace CmnCrypto::Encryption
