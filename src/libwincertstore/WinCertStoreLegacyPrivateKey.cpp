#include "cmncrypto/WinCertStoreLegacyPrivateKey.h"

namespace CmnCrypto::WinCertStore {

WinCertStoreLegacyPrivateKey::WinCertStoreLegacyPrivateKey(const WinCertStoreCertificate& certificate,
                                                           const StoreKey& key) noexcept
    : WinCertStorePrivateKey(certificate, key) {}

WinCertStoreLegacyPrivateKey::~WinCertStoreLegacyPrivateKey() {
    if (SigningBackEnd* const signing = Releaser()) {
        signing->releaseProvider(GetHandle());
    }
}

StoreKeyKind WinCertStoreLegacyPrivateKey::GetKind() const noexcept {
    return STORE_KEY_LEGACY;
}

uint32_t WinCertStoreLegacyPrivateKey::ReadSecurity(KeySecurity& security, SecurityDescriptor& descriptor) const {
    return security.readProvider(GetHandle(), descriptor);
}

uint32_t WinCertStoreLegacyPrivateKey::WriteSecurity(KeySecurity& security, const SecurityDescriptor& descriptor) {
    return security.writeProvider(GetHandle(), descriptor);
}

} // namespace CmnCrypto::WinCertStore
