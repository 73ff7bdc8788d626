/** @file
 * Who may use a private key that is held in a store.
 */
#ifndef CMNCRYPTO_KEYSECURITY_H
#define CMNCRYPTO_KEYSECURITY_H

#include <cstdint>
#include <string>
#include <vector>

#include "cmncrypto/export.h"

namespace CmnCrypto::WinCertStore {

/** A self-relative Windows security descriptor with its discretionary access list. */
using SecurityDescriptor = std::vector<unsigned char>;

/**
 * The platform's calls for the security of both kinds of key handles, CNG and CryptoAPI. Results are Windows error
 * numbers, 0 for success; accounts are named in UTF-8 as "DOMAIN\\name" or "name". Implementations throw nothing but
 * std::bad_alloc, and may be called from several threads at once.
 */
class CMNCRYPTO_API KeySecurity {
public:
    KeySecurity() = default;
    KeySecurity(const KeySecurity&) = delete;
    KeySecurity& operator=(const KeySecurity&) = delete;
    virtual ~KeySecurity();

    virtual uint32_t readCng(uintptr_t key, SecurityDescriptor& descriptor) = 0;           ///< that of a CNG key
    virtual uint32_t writeCng(uintptr_t key, const SecurityDescriptor& descriptor) = 0;    ///< that of a CNG key
    virtual uint32_t readProvider(uintptr_t provider, SecurityDescriptor& descriptor) = 0; ///< that of a CryptoAPI key
    virtual uint32_t writeProvider(uintptr_t provider, const SecurityDescriptor& descriptor) = 0; ///< as above

    /** Asks whether an account may read, by itself or by its groups. */
    virtual uint32_t mayRead(const SecurityDescriptor& descriptor, const std::string& account, bool& granted) = 0;
    /** Lets an account read, or takes that right out of all of the account's own entries, also out of one of full
     *  control; its other rights, the other entries and the inheritance of the list stay. */
    virtual uint32_t setRead(SecurityDescriptor& descriptor, const std::string& account, bool granted) = 0;
    /** @param account receives the one that the process runs under */
    virtual uint32_t ownAccount(std::string& account) = 0;
};

} // namespace CmnCrypto::WinCertStore

#endif
