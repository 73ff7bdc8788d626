#include "cmncrypto/WinCertStoreCNGPrivateKey.h"

namespace CmnCrypto::WinCertStore {

WinCertStoreCNGPrivateKey::WinCertStoreCNGPrivateKey(const WinCertStoreCertificate& certificate,
                                                     const StoreKey& key) noexcept
    : WinCertStorePrivateKey(certificate, key) {}

WinCertStoreCNGPrivateKey::~WinCertStoreCNGPrivateKey() {
    if (SigningBackEnd* const signing = Releaser()) {
        signing->freeCngKey(GetHandle());
    }
}

StoreKeyKind WinCertStoreCNGPrivateKey::GetKind() const noexcept {
    return STORE_KEY_CNG;
}

uint32_t WinCertStoreCNGPrivateKey::ReadSecurity(KeySecurity& security, SecurityDescriptor& descriptor) const {
    return security.readCng(GetHandle(), descriptor);
}

uint32_t WinCertStoreCNGPrivateKey::WriteSecurity(KeySecurity& security, const SecurityDescriptor& descriptor) {
    return security.writeCng(GetHandle(), descriptor);
}

} // namespace CmnCrypto::WinCertStore
