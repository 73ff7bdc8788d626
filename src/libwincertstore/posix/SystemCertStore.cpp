#include "libwincertstore/SystemCertStore.h"

#include "cmncrypto/SoftwareCertStore.h"

namespace CmnCrypto::WinCertStore {

// These systems have no store of their own: the host names a folder.
std::shared_ptr<CertStorePlatform> systemCertStore() {
    return std::make_shared<SoftwareCertStore>("");
}

} // namespace CmnCrypto::WinCertStore
