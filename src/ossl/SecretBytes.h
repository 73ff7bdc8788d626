#ifndef CMNCRYPTO_OSSL_SECRETBYTES_H
#define CMNCRYPTO_OSSL_SECRETBYTES_H

#include <string>
#include <vector>

#include <openssl/crypto.h>

namespace CmnCrypto::ossl {

/** A copy of key bytes that wipes itself. */
class SecretBytes {
public:
    explicit SecretBytes(const std::string& bytes) : m_bytes(bytes.begin(), bytes.end()) {}
    ~SecretBytes() { OPENSSL_cleanse(m_bytes.data(), m_bytes.size()); }
    SecretBytes(const SecretBytes&) = delete;
    SecretBytes& operator=(const SecretBytes&) = delete;

    const unsigned char* data() const noexcept { return m_bytes.data(); }
    size_t size() const noexcept { return m_bytes.size(); }

private:
    std::vector<unsigned char> m_bytes; // never grows, so that no other copy is left behind
};

} // namespace CmnCrypto::ossl

#endif
