#ifndef CMNCRYPTO_LIBWINCERTSTORE_OPENSTORE_H
#define CMNCRYPTO_LIBWINCERTSTORE_OPENSTORE_H

#include <cstdio>
#include <string>

#include "cmncrypto/CertStorePlatform.h"

namespace CmnCrypto::WinCertStore {

/** A store that is closed again. */
class OpenStore {
public:
    OpenStore(CertStorePlatform& platform, const std::string& name, bool readOnly)
        : m_platform(platform), m_error(platform.openStore(name, readOnly, m_handle)) {}
    ~OpenStore() {
        if (m_error == 0) {
            m_platform.closeStore(m_handle);
        }
    }
    OpenStore(const OpenStore&) = delete;
    OpenStore& operator=(const OpenStore&) = delete;

    uint32_t error() const noexcept { return m_error; } ///< 0 when it is open
    /** @return error() in hexadecimal */
    std::string errorDigits() const {
        char digits[16];
        std::snprintf(digits, sizeof digits, "%x", m_error);
        return digits;
    }
    CertStoreHandle get() const noexcept { return m_handle; }

private:
    CertStorePlatform& m_platform;
    CertStoreHandle m_handle = nullptr;
    uint32_t m_error;
};

} // namespace CmnCrypto::WinCertStore

#endif
