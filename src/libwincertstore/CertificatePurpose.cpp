// What a store certificate is meant for.

#include <algorithm>

#include "cmncrypto/WinCertStoreCertificate.h"
#include "libwincertstore/StoreLog.h"

namespace CmnCrypto::WinCertStore {

namespace {

/** One end of a TLS connection, and what its certificate must be meant for. */
struct Purpose {
    const char* function;
    int code;
    unsigned char keyUsage; ///< bits, one of which is enough
    const char* extendedUsage;
    const char* wrongKeyUsage;
    const char* wrongExtendedUsage;
};

constexpr Purpose server = {
    "WinCertStoreCertificate::IsIntendedForServerPurpose",
    codeNotForServers,
    0xA8, // digital signature, key encipherment, key agreement
    "1.3.6.1.5.5.7.3.1",
    "The certificate has key usages but one of the following key usages: Digital Signature, Key Encipherment or Key "
    "Agreement are not present. The certificate can't be used for server.",
    "The certificate has extended key usages but Server Authentication is not present. The certificate can't be used "
    "for server.",
};

constexpr Purpose client = {
    "WinCertStoreCertificate::IsIntendedForClientPurpose",
    codeNotForClients,
    0x88, // digital signature, key agreement
    "1.3.6.1.5.5.7.3.2",
    "The certificate has key usages but Digital Signature or Key Agreement is not present. The certificate can't be "
    "used for client.",
    "The certificate has extended key usages but Client Authentication is not present. The certificate can't be used "
    "for client.",
};

int check(CertStorePlatform& platform, CertContext context, const Purpose& purpose) {
    unsigned char keyUsage = 0;
    if (platform.intendedKeyUsage(context, keyUsage) && (keyUsage & purpose.keyUsage) == 0) {
        logFailureOf(purpose.function, {purpose.wrongKeyUsage});
        return purpose.code;
    }
    EnhancedKeyUsage usage;
    if (platform.enhancedKeyUsage(context, usage) != 0) {
        return purpose.code;
    }
    if (usage.unrestricted) {
        traceOf(purpose.function, {"The certificate has all valid usage."});
        return 0;
    }
    // An empty list restricts nothing, and anyExtendedKeyUsage is no substitute: selection relies on both.
    if (usage.usages.empty() ||
        std::find(usage.usages.begin(), usage.usages.end(), purpose.extendedUsage) != usage.usages.end()) {
        return 0;
    }
    logFailureOf(purpose.function, {purpose.wrongExtendedUsage});
    return purpose.code;
}

int checkGuarded(CertStorePlatform* platform, CertContext context, const Purpose& purpose) noexcept {
    return withoutThrowing(purpose.function, purpose.code,
                           [&] { return context != nullptr ? check(*platform, context, purpose) : purpose.code; });
}

} // namespace

int WinCertStoreCertificate::IsIntendedForServerPurpose() const noexcept {
    return checkGuarded(m_platform.get(), m_context, server);
}

int WinCertStoreCertificate::IsIntendedForClientPurpose() const noexcept {
    return checkGuarded(m_platform.get(), m_context, client);
}

} // namespace CmnCrypto::WinCertStore
