#ifndef CMNCRYPTO_X509_PEMBLOCK_H
#define CMNCRYPTO_X509_PEMBLOCK_H

#include <string_view>

#include "ossl/OpenSsl.h"

namespace CmnCrypto {

/** One block of a PEM text, still encrypted if it was (RFC 7468; the header is that of RFC 1421). It wipes itself. */
class PemBlock {
public:
    PemBlock() = default;
    ~PemBlock() { release(); }
    PemBlock(const PemBlock&) = delete;
    PemBlock& operator=(const PemBlock&) = delete;

    /** Reads the next block. @return false at the end or when it is malformed */
    bool read(BIO* bio);
    /** Reads on to the next private key. @return false when there is none before the end or a malformed block */
    bool readPrivateKey(BIO* bio);

    /** @return what stands behind "BEGIN" */
    std::string_view name() const noexcept { return m_name != nullptr ? m_name : ""; }
    /** @return whether the key is encrypted in the traditional way, which its header describes */
    bool hasHeader() const noexcept { return m_header != nullptr && *m_header != '\0'; }
    char* header() noexcept { return m_header; }
    unsigned char* data() noexcept { return m_data; }
    const unsigned char* data() const noexcept { return m_data; }
    long length() const noexcept { return m_length; }

private:
    void release() noexcept;

    char* m_name = nullptr;
    char* m_header = nullptr;
    unsigned char* m_data = nullptr;
    long m_length = 0;
};

constexpr std::string_view pemPlainKey = PEM_STRING_PKCS8INF;
constexpr std::string_view pemEncryptedKey = PEM_STRING_PKCS8;
constexpr std::string_view pemRsaKey = PEM_STRING_RSA;

} // namespace CmnCrypto

#endif
