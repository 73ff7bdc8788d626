// The chain of a store certificate in OpenSSL's terms.

#include <utility>
#include <vector>

#include "cmncrypto/WinCertStoreOpenSSLHelper.h"
#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"
#include "ossl/ErrorQueue.h"
#include "x509/NameText.h"

namespace CmnCrypto::WinCertStore {

namespace {

using Stack = OpenSslPtr<STACK_OF(X509)>;

/** Appends a store certificate. @return 0; 13; 36 */
int append(const WinCertStoreCertificate& certificate, STACK_OF(X509)* stack) {
    OpenSslPtr<X509> decoded(certificate.GetX509());
    if (!decoded) {
        return codeReadFailed;
    }
    if (sk_X509_push(stack, decoded.get()) < 1) {
        return codeNoMemory;
    }
    static_cast<void>(decoded.release());
    return 0;
}

/** Contexts that a platform has handed out. */
struct Contexts {
    explicit Contexts(std::shared_ptr<CertStorePlatform> owner) : platform(std::move(owner)) {}
    ~Contexts() {
        for (const CertContext context : held) {
            platform->release(context);
        }
    }
    Contexts(const Contexts&) = delete;
    Contexts& operator=(const Contexts&) = delete;

    std::shared_ptr<CertStorePlatform> platform;
    std::vector<CertContext> held;
};

/** Appends the issuers of a certificate, upwards. @return 0; 13; 36 */
int appendIssuers(const WinCertStoreCertificate& certificate, STACK_OF(X509)* stack) {
    Contexts issuers(certificate.GetPlatform());
    const uint32_t error = issuers.platform->chain(certificate.GetContext(), issuers.held);
    if (error != 0) {
        // Without its chain a certificate may still serve: its peers may know the issuers.
        return error == windowsNotEnoughMemory ? codeNoMemory : 0;
    }
    for (const CertContext issuer : issuers.held) {
        const WinCertStoreCertificate borrowed(issuer, CERT_MEMORY_BORROWED, issuers.platform);
        if (const int code = append(borrowed, stack)) {
            return code;
        }
    }
    return 0;
}

/** Builds the whole chain, leaf first, the root last where it is known. @return 0; 13; 20; 36 */
int buildChain(const WinCertStoreCertificate& certificate, Stack& stack) {
    if (certificate.GetContext() == nullptr) {
        return codeInvalidArgument;
    }
    stack.reset(sk_X509_new_null());
    if (!stack) {
        return codeNoMemory;
    }
    const int code = append(certificate, stack.get());
    return code != 0 ? code : appendIssuers(certificate, stack.get());
}

/** As buildChain() without the leaf and without the root. */
int buildIntermediates(const WinCertStoreCertificate& certificate, Stack& stack) {
    const int code = buildChain(certificate, stack);
    if (code != 0) {
        return code;
    }
    const OpenSslPtr<X509> leaf(sk_X509_shift(stack.get()));
    const int last = sk_X509_num(stack.get()) - 1;
    if (last >= 0 && WinCertStoreOpenSSLHelper::is_root_cert(sk_X509_value(stack.get(), last))) {
        const OpenSslPtr<X509> root(sk_X509_pop(stack.get()));
    }
    return 0;
}

/** Runs @p build and hands its stack out. */
template <class Build> int handOut(const char* function, STACK_OF(X509)** chain, const Build& build) noexcept {
    const ossl::ErrorScope errors;
    return withoutThrowing(function, codeNoMemory, [&]() -> int {
        if (chain == nullptr) {
            return codeInvalidArgument;
        }
        *chain = nullptr;
        Stack stack;
        const int code = build(stack);
        if (code == 0) {
            *chain = stack.release();
        }
        return code;
    });
}

} // namespace

int WinCertStoreOpenSSLHelper::get_cert_chain_x509_sk(const WinCertStoreCertificate& certificate,
                                                      STACK_OF(X509)** chain) noexcept {
    return handOut("WinCertStoreOpenSSLHelper::get_cert_chain_x509_sk", chain,
                   [&](Stack& stack) { return buildChain(certificate, stack); });
}

int WinCertStoreOpenSSLHelper::get_intermediates_x509_sk(const WinCertStoreCertificate& certificate,
                                                         STACK_OF(X509)** chain) noexcept {
    return handOut("WinCertStoreOpenSSLHelper::get_intermediates_x509_sk", chain,
                   [&](Stack& stack) { return buildIntermediates(certificate, stack); });
}

int WinCertStoreOpenSSLHelper::get_root_cert_x509(const WinCertStoreCertificate& certificate, X509** root) noexcept {
    const ossl::ErrorScope errors;
    return withoutThrowing("WinCertStoreOpenSSLHelper::get_root_cert_x509", codeNoMemory, [&]() -> int {
        if (root == nullptr) {
            return codeInvalidArgument;
        }
        *root = nullptr;
        Stack stack;
        if (const int code = buildChain(certificate, stack)) {
            return code;
        }
        OpenSslPtr<X509> last(sk_X509_pop(stack.get()));
        if (!is_root_cert(last.get())) {
            return codeNoSuchFingerprint;
        }
        *root = last.release();
        return 0;
    });
}

int WinCertStoreOpenSSLHelper::append_chain(const WinCertStoreCertificate& certificate, SSL_CTX* ctx) noexcept {
    constexpr const char* function = "WinCertStoreOpenSSLHelper::append_chain";
    const ossl::ErrorScope errors;
    return withoutThrowing(function, codeNoMemory, [&]() -> int {
        if (ctx == nullptr) {
            return codeInvalidArgument;
        }
        Stack stack;
        if (const int code = buildIntermediates(certificate, stack)) {
            return code;
        }
        if (SSL_CTX_set1_chain(ctx, stack.get()) != 1) {
            const std::string reason = drainSslErrors();
            logFailureOf(function, {"SSL_CTX_set1_chain() failed with error ", reason});
            return codeTlsRefused;
        }
        return 0;
    });
}

bool WinCertStoreOpenSSLHelper::is_root_cert(X509* certificate) noexcept {
    const ossl::ErrorScope errors;
    return certificate != nullptr && X509_self_signed(certificate, 0) == 1;
}

std::string WinCertStoreOpenSSLHelper::getSubjectFromX509Cert(X509* certificate) noexcept {
    const ossl::ErrorScope errors;
    return withoutThrowing("WinCertStoreOpenSSLHelper::getSubjectFromX509Cert", std::string(), [&] {
        return certificate != nullptr ? nameText(X509_get_subject_name(certificate), NAME_FORMAT_ONELINE)
                                      : std::string();
    });
}

} // namespace CmnCrypto::WinCertStore
