#ifndef CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_OWNEDCONTEXT_H
#define CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_OWNEDCONTEXT_H

#include <memory>

#include "libwincertstore/software/SoftwareContext.h"

namespace CmnCrypto::WinCertStore {

/** Releases a context when it goes out of use. */
struct ReleaseContext {
    CertStorePlatform* platform;
    void operator()(SoftwareContext* context) const { platform->release(context); }
};
using ContextPtr = std::unique_ptr<SoftwareContext, ReleaseContext>;

inline ContextPtr owned(CertStorePlatform& platform, CertContext context) {
    return {softwareContext(context), ReleaseContext{&platform}};
}

} // namespace CmnCrypto::WinCertStore

#endif
