/** @file
 * A private key of a store certificate that is a key of a CryptoAPI provider.
 */
#ifndef CMNCRYPTO_WINCERTSTORELEGACYPRIVATEKEY_H
#define CMNCRYPTO_WINCERTSTORELEGACYPRIVATEKEY_H

#include "cmncrypto/WinCertStorePrivateKey.h"

namespace CmnCrypto::WinCertStore {

/** Made by WinCertStorePrivateKey::Acquire() for a key of a CryptoAPI provider. */
class CMNCRYPTO_API WinCertStoreLegacyPrivateKey : public WinCertStorePrivateKey {
public:
    /** @param key acquired from @p certificate; taken over */
    WinCertStoreLegacyPrivateKey(const WinCertStoreCertificate& certificate, const StoreKey& key) noexcept;
    ~WinCertStoreLegacyPrivateKey() override;

    StoreKeyKind GetKind() const noexcept override; ///< @return STORE_KEY_LEGACY

protected:
    uint32_t ReadSecurity(KeySecurity& security, SecurityDescriptor& descriptor) const override;
    uint32_t WriteSecurity(KeySecurity& security, const SecurityDescriptor& descriptor) override;
};

} // namespace CmnCrypto::WinCertStore

#endif
