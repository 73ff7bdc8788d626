#ifndef CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_WINDOWSKEYSECURITY_H
#define CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_WINDOWSKEYSECURITY_H

#include "cmncrypto/KeySecurity.h"

namespace CmnCrypto::WinCertStore {

/** Who may use keys of CNG and of CryptoAPI, by their discretionary access lists. It holds nothing. */
class WindowsKeySecurity : public KeySecurity {
public:
    uint32_t readCng(uintptr_t key, SecurityDescriptor& descriptor) override;
    uint32_t writeCng(uintptr_t key, const SecurityDescriptor& descriptor) override;
    uint32_t readProvider(uintptr_t provider, SecurityDescriptor& descriptor) override;
    uint32_t writeProvider(uintptr_t provider, const SecurityDescriptor& descriptor) override;
    /** By the system's effective rights; where those cannot be had, by the entries of the account and of everyone. */
    uint32_t mayRead(const SecurityDescriptor& descriptor, const std::string& account, bool& granted) override;
    uint32_t setRead(SecurityDescriptor& descriptor, const std::string& account, bool granted) override;
    uint32_t ownAccount(std::string& account) override;
};

} // namespace CmnCrypto::WinCertStore

#endif
