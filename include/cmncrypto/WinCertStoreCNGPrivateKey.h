/** @file
 * A private key of a store certificate that is a CNG key.
 */
#ifndef CMNCRYPTO_WINCERTSTORECNGPRIVATEKEY_H
#define CMNCRYPTO_WINCERTSTORECNGPRIVATEKEY_H

#include "cmncrypto/WinCertStorePrivateKey.h"

namespace CmnCrypto::WinCertStore {

/** Made by WinCertStorePrivateKey::Acquire() for a CNG key. */
class CMNCRYPTO_API WinCertStoreCNGPrivateKey : public WinCertStorePrivateKey {
public:
    /** @param key acquired from @p certificate; taken over */
    WinCertStoreCNGPrivateKey(const WinCertStoreCertificate& certificate, const StoreKey& key) noexcept;
    ~WinCertStoreCNGPrivateKey() override;

    StoreKeyKind GetKind() const noexcept override; ///< @return STORE_KEY_CNG

protected:
    uint32_t ReadSecurity(KeySecurity& security, SecurityDescriptor& descriptor) const override;
    uint32_t WriteSecurity(KeySecurity& security, const SecurityDescriptor& descriptor) override;
};

} // namespace CmnCrypto::WinCertStore

#endif
