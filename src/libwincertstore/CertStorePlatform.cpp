#include "cmncrypto/CertStorePlatform.h"

#include <utility>

#include "libwincertstore/SystemCertStore.h"

namespace CmnCrypto::WinCertStore {

namespace {

// A plain setting of the process, as the log callbacks are: the host sets it before it starts threads.
std::shared_ptr<CertStorePlatform>& current() {
    static std::shared_ptr<CertStorePlatform> platform = systemCertStore();
    return platform;
}

} // namespace

SigningBackEnd::~SigningBackEnd() = default;
CertStorePlatform::~CertStorePlatform() = default;

void setCertStorePlatform(std::shared_ptr<CertStorePlatform> platform) {
    current() = platform ? std::move(platform) : systemCertStore();
}

std::shared_ptr<CertStorePlatform> certStorePlatform() {
    return current();
}

} // namespace CmnCrypto::WinCertStore
