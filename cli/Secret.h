/** @file
 * Bytes that wipe themselves.
 */
#ifndef CMNCRYPTO_CLI_SECRET_H
#define CMNCRYPTO_CLI_SECRET_H

#include <algorithm>
#include <cstddef>
#include <string>

#include <openssl/crypto.h>

namespace CmnCrypto::Cli {

/** A buffer of a fixed capacity, wiped before its memory is released. It can be moved, not copied. */
class Secret {
public:
    explicit Secret(size_t size = 0) {
        // Never so short that a string keeps it inside itself: moving would leave a copy behind.
        m_bytes.reserve(std::max<size_t>(size, 64));
        m_bytes.resize(size);
    }
    Secret(Secret&&) noexcept = default;
    Secret& operator=(Secret&& other) noexcept {
        m_bytes.swap(other.m_bytes);
        return *this;
    }
    ~Secret() {
        m_bytes.resize(m_bytes.capacity());
        OPENSSL_cleanse(m_bytes.data(), m_bytes.size());
    }

    /** Drops what lies behind @p size. */
    void shorten(size_t size) { m_bytes.resize(std::min(size, m_bytes.size())); }

    const std::string& text() const noexcept { return m_bytes; }
    char* data() noexcept { return m_bytes.data(); }
    unsigned char* bytes() noexcept { return reinterpret_cast<unsigned char*>(m_bytes.data()); }
    size_t size() const noexcept { return m_bytes.size(); }

private:
    std::string m_bytes;
};

} // namespace CmnCrypto::Cli

#endif
