#include "libwincertstore/SystemCertStore.h"

#include "libwincertstore/windows/WindowsCertStore.h"

namespace CmnCrypto::WinCertStore {

std::shared_ptr<CertStorePlatform> systemCertStore() {
    return std::make_shared<WindowsCertStore>();
}

} // namespace CmnCrypto::WinCertStore
