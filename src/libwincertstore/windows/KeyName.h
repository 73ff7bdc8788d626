#ifndef CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_KEYNAME_H
#define CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_KEYNAME_H

#include <cstdint>
#include <windows.h>

namespace CmnCrypto::WinCertStore {

/** By which names a certificate's key is kept, if it is kept at all. It takes no memory beyond itself. */
class KeyName {
public:
    KeyName() noexcept = default;
    explicit KeyName(PCCERT_CONTEXT context) noexcept;
    KeyName(const KeyName&) = delete;
    KeyName& operator=(const KeyName&) = delete;

    /** Reads the names of another certificate's key. */
    void read(PCCERT_CONTEXT context) noexcept;
    /** @return whether both name one key; none is the same as no other */
    bool isSameAs(const KeyName& other) const noexcept;
    /** Deletes the key of the machine that has this name. @return the error number; 0 also where there is none */
    uint32_t deleteKey() const noexcept;

private:
    bool isThere() const noexcept { return m_size > 0; }
    const CRYPT_KEY_PROV_INFO& info() const noexcept;

    DWORD m_size = 0;
    alignas(CRYPT_KEY_PROV_INFO) BYTE m_bytes[4096] = {}; ///< the structure, and behind it the texts that it points to
};

} // namespace CmnCrypto::WinCertStore

#endif
