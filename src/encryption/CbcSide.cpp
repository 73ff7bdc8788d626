#include "encryption/CbcSide.h"

#include <algorithm>

#include "frame/Logging.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto::Encryption {

namespace {

// No input reaches OpenSSL in a longer piece.
constexpr size_t pieceSize = 2048;

} // namespace

CbcSide::CbcSide(Direction direction, ossl::Cipher cipher, const ossl::SecretBytes& key, const char* resetTag,
                 const char* dataTag)
    : m_direction(direction), m_cipher(cipher), m_key(key), m_resetTag(resetTag), m_dataTag(dataTag),
      m_context(EVP_CIPHER_CTX_new()) {}

void CbcSide::open() noexcept {
    m_output.reset();
    if (m_direction == Direction::decrypt) {
        m_output.bytes.keepSecret();
    }
    m_finished = false;
    m_error = statusDone;
}

int CbcSide::init(const unsigned char* iv) {
    ossl::clearErrors();
    const EVP_CIPHER* cipher = ossl::cipher(m_cipher);
    // A key schedule that still serves is kept: only the IV is renewed then.
    const bool scheduled = m_scheduled != nullptr && m_scheduled == cipher;
    if (!scheduled) {
        EVP_CIPHER_CTX_reset(m_context.get());
    }
    if (!m_context || cipher == nullptr ||
        EVP_CipherInit_ex(m_context.get(), scheduled ? nullptr : cipher, nullptr, scheduled ? nullptr : m_key.data(),
                          iv, static_cast<int>(m_direction)) != 1) {
        return failReset("EVP_CipherInit_ex returned FAILURE", __LINE__);
    }
    m_scheduled = EVP_CIPHER_CTX_get0_cipher(m_context.get());
    return statusDone;
}

int CbcSide::readiness() const noexcept {
    if (m_error != statusDone) {
        return statusFailed;
    }
    return m_finished ? statusRefused : statusDone;
}

int CbcSide::feed(const unsigned char* data, size_t length, bool final) {
    const int ready = readiness();
    if (ready != statusDone) {
        return ready;
    }
    if (data == nullptr && length != 0) {
        return statusRefused;
    }
    ossl::clearErrors();
    m_output.begin();
    // OpenSSL may give a block that it held back, and the final call one of padding, besides what goes in.
    if (length > SIZE_MAX - 2 * blockLength || !m_output.bytes.reserve(length + 2 * blockLength)) {
        return failData("Failed to allocate memory for the output", __LINE__);
    }
    int produced = 0;
    while (length > 0) {
        const size_t piece = std::min(length, pieceSize);
        if (EVP_CipherUpdate(m_context.get(), m_output.bytes.end(), &produced, data, static_cast<int>(piece)) != 1) {
            return failData("EVP_CipherUpdate returned FAILURE", __LINE__);
        }
        m_output.bytes.extend(static_cast<size_t>(produced));
        data += piece;
        length -= piece;
    }
    if (final) {
        m_finished = true;
        if (EVP_CipherFinal_ex(m_context.get(), m_output.bytes.end(), &produced) != 1) {
            return failData("EVP_CipherFinal_ex returned FAILURE", __LINE__);
        }
        m_output.bytes.extend(static_cast<size_t>(produced));
    }
    return statusDone;
}

void CbcSide::record(const char* tag, const char* text, int line) {
    m_error = statusFailed;
    m_scheduled = nullptr; // the next stream starts from a clean context
    logWithLine(tag, text, line);
    logSslError(tag);
}

// The failing call answers 1224 and later ones 1223 until a reset: callers tell the two apart.
int CbcSide::failData(const char* text, int line) {
    record(m_dataTag, text, line);
    return statusRefused;
}

int CbcSide::failReset(const char* text, int line) {
    record(m_resetTag, text, line);
    return statusFailed;
}

} // namespace CmnCrypto::Encryption
