#include "cmncrypto/WinCertStoreOpenSSLHelper.h"

#include <exception>
#include <utility>

#include "cmncrypto/CmnApi.h"
#include "libwincertstore/ContextIdentity.h"
#include "libwincertstore/StoreContext.h"
#include "libwincertstore/StoreLog.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* loadTag = "WinCertStoreOpenSSLHelper::load_certificate_key_in_ssl_ctx";

using Record = WinCertStoreOpenSSLHelper::QX_CRYPTO_DATA;

struct FreeRecord {
    void operator()(Record* record) const noexcept { WinCertStoreOpenSSLHelper::QX_CRYPTO_DATA_free(record); }
};

/** @return a record that its keys share @throws std::bad_alloc */
std::shared_ptr<Record> makeRecord() {
    std::shared_ptr<Record> record(new Record, FreeRecord());
    record->self = record;
    return record;
}

int refuse(int code, const char* call) {
    const std::string reason = drainSslErrors();
    logFailureOf(loadTag, {call, " failed with error ", reason});
    return code;
}

/** A store's certificate in OpenSSL's terms. */
struct Identity {
    OpenSslPtr<X509> certificate;
    OpenSslPtr<STACK_OF(X509)> chain;
    Record& record;
};

/** Puts certificate, key and chain into a context and restricts it. @return 0 or a code, the failure being logged */
int install(const Identity& identity, SSL_CTX* ctx) {
    X509* const certificate = identity.certificate.get();
    // The certificate first: OpenSSL refuses a new key beside the old certificate, but drops an old key.
    if (SSL_CTX_use_certificate(ctx, certificate) != 1) {
        return refuse(codeTlsRefused, "SSL_CTX_use_certificate()");
    }
    EVP_PKEY* const publicKey = X509_get0_pubkey(certificate);
    if (WinCertStoreOpenSSLHelper::qx_set_rsa_key_in_ssl_ctx(ctx, &identity.record, publicKey) != 1) {
        return refuse(codeKeyRefused, "qx_set_rsa_key_in_ssl_ctx()");
    }
    if (SSL_CTX_check_private_key(ctx) != 1) {
        return refuse(codeKeyMismatch, "SSL_CTX_check_private_key()");
    }
    if (SSL_CTX_set1_chain(ctx, identity.chain.get()) != 1) {
        return refuse(codeTlsRefused, "SSL_CTX_set1_chain()");
    }
    return WinCertStoreOpenSSLHelper::prepare_ssl_ctx(ctx);
}

/**
 * Installs where nothing can be spoilt first: a context has no way back from a certificate to none, or from a
 * restriction. What then fails on the real one is memory; the certificate that it had comes back.
 */
int installWhole(const WinCertStoreCertificate& certificate, Record& record, SSL_CTX* ctx) {
    STACK_OF(X509)* chain = nullptr;
    if (const int code = WinCertStoreOpenSSLHelper::get_intermediates_x509_sk(certificate, &chain)) {
        return code;
    }
    const Identity identity{OpenSslPtr<X509>(certificate.GetX509()), OpenSslPtr<STACK_OF(X509)>(chain), record};
    if (!identity.certificate) {
        return codeReadFailed; // logged
    }
    const OpenSslPtr<SSL_CTX> trial = trialContext(ctx);
    if (!trial) {
        return refuse(codeTlsRefused, "Making a spare context");
    }
    if (const int code = install(identity, trial.get())) {
        return code;
    }
    const ContextIdentity before(ctx);
    const int code = install(identity, ctx);
    if (code != 0) {
        before.putBack();
    }
    return code;
}

/** Asks the host whether it wants a certificate. @return 0, or the code of its answer */
int validate(const WinCertStoreOpenSSLHelper::Validator& validator, const WinCertStoreCertificate& certificate) {
    constexpr const char* function = "WinCertStoreOpenSSLHelper::get_ssl_ctx";
    if (!validator) {
        return 0;
    }
    try {
        const int code = WinCertStoreCommon::WinCertToQXError(validator(certificate));
        if (code != 0) {
            logFailureOf(function, {"The certificate is refused by its validator, code ", std::to_string(code)});
        }
        return code;
    } catch (const std::exception& failure) {
        logFailureOf(function, {"The validator of the certificate failed: ", failure.what()});
        return CmnException::noCode;
    } catch (...) {
        logFailureOf(function, {"The validator of the certificate failed"});
        return CmnException::noCode;
    }
}

} // namespace

WinCertStoreOpenSSLHelper::WinCertStoreOpenSSLHelper(const std::string& path, Validator validator,
                                                     const std::list<std::shared_ptr<CertificateFilter>>& filters)
    : m_path(path), m_validator(std::move(validator)), m_filters(filters),
      m_selector(std::make_shared<CertificateSelector>(path, filters)) {}

WinCertStoreOpenSSLHelper::~WinCertStoreOpenSSLHelper() = default;

std::shared_ptr<CertificateSelector> WinCertStoreOpenSSLHelper::GetCertificateSelector() const noexcept {
    return m_selector;
}

int WinCertStoreOpenSSLHelper::get_ssl_ctx(const char* path, SSL_CTX* ctx) noexcept {
    return withoutThrowing("WinCertStoreOpenSSLHelper::get_ssl_ctx", codeNoMemory, [&]() -> int {
        if (ctx == nullptr) {
            return codeInvalidArgument;
        }
        const ossl::ErrorScope errors;
        const std::string wanted = path != nullptr && *path != '\0' ? path : m_path;
        if (wanted != m_selector->GetCertPath()) {
            m_selector = std::make_shared<CertificateSelector>(wanted, m_filters);
        }
        WinCertStoreCertificate certificate;
        if (const int code = m_selector->GetCertificate(certificate, false)) {
            return code;
        }
        const int refused = validate(m_validator, certificate);
        return refused != 0 ? refused : load_certificate_key_in_ssl_ctx(certificate, ctx);
    });
}

int WinCertStoreOpenSSLHelper::load_certificate_key_in_ssl_ctx(const WinCertStoreCertificate& certificate,
                                                               SSL_CTX* ctx) noexcept {
    return withoutThrowing(loadTag, codeNoMemory, [&]() -> int {
        if (ctx == nullptr || certificate.GetContext() == nullptr) {
            return codeInvalidArgument;
        }
        CmnApi::initOpenssl();
        const ossl::ErrorScope errors;
        m_records.remove_if([](const std::shared_ptr<Record>& record) { return record.use_count() == 1; });
        const std::shared_ptr<Record> record = makeRecord();
        if (const int code = acquire_private_key(certificate, *record)) {
            return code;
        }
        m_records.push_back(record);
        return installWhole(certificate, *record, ctx);
    });
}

int WinCertStoreOpenSSLHelper::acquire_private_key(const WinCertStoreCertificate& certificate,
                                                   QX_CRYPTO_DATA& data) noexcept {
    constexpr const char* function = "WinCertStoreOpenSSLHelper::acquire_private_key";
    return withoutThrowing(function, codeNoMemory, [&]() -> int {
        if (certificate.GetContext() == nullptr) {
            return codeInvalidArgument;
        }
        std::shared_ptr<CertStorePlatform> platform = certificate.GetPlatform();
        StoreKey key;
        if (const uint32_t error = platform->acquireKey(certificate.GetContext(), key)) {
            logWindowsErrorOf(function, {platform->errorText(error)}, error);
            return WinCertStoreCommon::WinCertToQXError(WIN_CERT_STORE_KEY_NOT_ACQUIRED);
        }
        data.cert_context = platform->duplicate(certificate.GetContext());
        data.key_handle = key.handle;
        data.key_spec = key.keySpec;
        data.free_key = key.mustRelease;
        data.platform = std::move(platform);
        return 0;
    });
}

} // namespace CmnCrypto::WinCertStore
