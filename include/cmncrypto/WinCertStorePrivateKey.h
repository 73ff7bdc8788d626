/** @file
 * The private key of a store certificate, and who may use it.
 */
#ifndef CMNCRYPTO_WINCERTSTOREPRIVATEKEY_H
#define CMNCRYPTO_WINCERTSTOREPRIVATEKEY_H

#include <cstdint>
#include <memory>
#include <string>

#include "cmncrypto/WinCertStoreCertificate.h"
#include "cmncrypto/WinCertStoreCommon.h"
#include "cmncrypto/WinCertStoreDetails.h"
#include "cmncrypto/export.h"

namespace CmnCrypto::WinCertStore {

/**
 * A handle of a private key, released with the object where the platform asks for that, and the permissions of that
 * key. Whoever may read a key may sign with it. Accounts are named in UTF-8 as "DOMAIN\\name" or "name". The key
 * itself never leaves its store. Nothing throws; a failure is logged, then answered. One thread at a time per object.
 *
 * An account that may not read a key is not given its handle either. So it is an administrator, or another account that
 * may change the permissions, who grants a service's account the key.
 *
 * Where who may use keys is no matter of the store, as with the software store, which leaves it to the permissions of
 * its files, questions and changes answer WIN_CERT_STORE_NOT_SUPPORTED.
 */
class CMNCRYPTO_API WinCertStorePrivateKey {
public:
    /**
     * Acquires the key of a certificate.
     * @param key receives an object of the kind that the key is of; null after a failure
     * @return WIN_CERT_STORE_OK, WIN_CERT_STORE_NOT_FOUND for an empty wrapper, WIN_CERT_STORE_NO_PRIVATE_KEY,
     *         WIN_CERT_STORE_KEY_NOT_ACQUIRED when the store does not give it, as to an account that may not use it,
     *         WIN_CERT_STORE_NO_MEMORY
     */
    static WinCertStoreError Acquire(const WinCertStoreCertificate& certificate,
                                     std::unique_ptr<WinCertStorePrivateKey>& key) noexcept;

    WinCertStorePrivateKey(const WinCertStorePrivateKey&) = delete;
    WinCertStorePrivateKey& operator=(const WinCertStorePrivateKey&) = delete;
    virtual ~WinCertStorePrivateKey();

    virtual StoreKeyKind GetKind() const noexcept = 0; ///< @return which kind it is
    uintptr_t GetHandle() const noexcept;              ///< @return the platform's handle, borrowed
    uint32_t GetKeySpec() const noexcept;              ///< @return as StoreKey::keySpec

    /** Asks whether an account may use the key, by itself or by its groups. @return WIN_CERT_STORE_OK,
     *  WIN_CERT_STORE_PERMISSIONS_NOT_READ, WIN_CERT_STORE_NOT_SUPPORTED, WIN_CERT_STORE_NO_MEMORY */
    WinCertStoreError IsReadGranted(const std::string& account, bool& granted) const noexcept;
    /** Lets an account use the key; nothing is written when it may already. @return as IsReadGranted(), also
     *  WIN_CERT_STORE_PERMISSIONS_NOT_SET, with the permissions as before when something else in them, such as an entry
     *  that denies it to a group, still keeps the account out */
    WinCertStoreError GrantRead(const std::string& account) noexcept;
    /** Takes the right to use the key from an account, and no other right; it may still use the key by one of its
     *  groups. @return as GrantRead() */
    WinCertStoreError RevokeRead(const std::string& account) noexcept;
    /** @param account receives the one that the process runs under @return as IsReadGranted() */
    WinCertStoreError GetOwnAccount(std::string& account) const noexcept;

protected:
    /** Takes the handle over; the derived class releases it. @param certificate keeps a handle alive that need not be
     *  released */
    WinCertStorePrivateKey(const WinCertStoreCertificate& certificate, const StoreKey& key) noexcept;

    /** Reads the key's security descriptor. @return a Windows error number @throws std::bad_alloc */
    virtual uint32_t ReadSecurity(KeySecurity& security, SecurityDescriptor& descriptor) const = 0;
    /** Replaces the key's security descriptor. @return a Windows error number @throws std::bad_alloc */
    virtual uint32_t WriteSecurity(KeySecurity& security, const SecurityDescriptor& descriptor) = 0;
    /** @return to whom the handle is given back; null when it need not be */
    SigningBackEnd* Releaser() const noexcept;

private:
    WinCertStoreError SetRead(const std::string& account, bool granted) noexcept;

    WinCertStoreCertificate m_certificate; ///< keeps context and platform
    StoreKey m_key;
};

} // namespace CmnCrypto::WinCertStore

#endif
