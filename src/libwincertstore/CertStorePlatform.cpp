#include "cmncrypto/CertStorePlatform.h"

#include <utility>

#include "libwincertstore/SystemCertStore.h"
#include "libwincertstore/WindowsErrors.h"

namespace CmnCrypto::WinCertStore {

namespace {

// A plain setting of the process, as the log callbacks are: the host sets it before it starts threads.
std::shared_ptr<CertStorePlatform>& current() {
    static std::shared_ptr<CertStorePlatform> platform = systemCertStore();
    return platform;
}

} // namespace

KeySecurity::~KeySecurity() = default;
SigningBackEnd::~SigningBackEnd() = default;
CertStorePlatform::~CertStorePlatform() = default;

uint32_t CertStorePlatform::createContext(const unsigned char* /*der*/, size_t /*length*/, CertContext& /*context*/) {
    return windowsNotSupported;
}

uint32_t CertStorePlatform::removeFromStore(CertContext context) {
    release(context);
    return windowsNotSupported;
}

uint32_t CertStorePlatform::importBundle(CertStoreHandle /*store*/, const unsigned char* /*der*/, size_t /*length*/,
                                         const std::string& /*password*/, bool /*exportable*/,
                                         CertContext& /*context*/) {
    return windowsNotSupported;
}

uint32_t CertStorePlatform::exportBundle(CertContext /*context*/, const std::string& /*password*/,
                                         std::vector<unsigned char>& /*der*/) {
    return windowsNotSupported;
}

uint32_t CertStorePlatform::verifyChain(CertContext /*context*/, const CertChainPolicy& /*policy*/) {
    return windowsNotSupported;
}

KeySecurity* CertStorePlatform::keySecurity() {
    return nullptr;
}

void setCertStorePlatform(std::shared_ptr<CertStorePlatform> platform) {
    current() = platform ? std::move(platform) : systemCertStore();
}

std::shared_ptr<CertStorePlatform> certStorePlatform() {
    return current();
}

} // namespace CmnCrypto::WinCertStore
