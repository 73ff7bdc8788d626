#include "cmncrypto/X509Store.h"

#include <utility>

#include "cmncrypto/CmnApi.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"
#include "x509/ChainReferences.h"

namespace CmnCrypto {

namespace {

/** A copy with the settings of "TRUSTED CERTIFICATE" blocks, which X509_dup() would drop. @return null without memory
 */
OpenSslPtr<X509> copyOf(X509* certificate) {
    unsigned char* der = nullptr;
    const int length = i2d_X509_AUX(certificate, &der);
    const OpenSslPtr<unsigned char> owner(der);
    const unsigned char* position = der;
    return OpenSslPtr<X509>(length > 0 ? d2i_X509_AUX(nullptr, &position, length) : nullptr);
}

/** @return null when memory is short */
OpenSslPtr<STACK_OF(X509)> copyOf(const STACK_OF(X509)* certificates) {
    return OpenSslPtr<STACK_OF(X509)>(sk_X509_deep_copy(
        certificates, [](const X509* certificate) { return copyOf(const_cast<X509*>(certificate)).release(); },
        X509_free));
}

unsigned long checkFlags(crl_check_level level) {
    switch (level) {
    case CRL_CHECK_LEAF:
        return X509_V_FLAG_CRL_CHECK;
    case CRL_CHECK_CHAIN:
        return X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL;
    default:
        failWithSslErrors("setCrlCheckLevel()", "Unsupported value provided for crlCheckLevel with error %s",
                          "Unsupported value provided for CRL check level.", codeInvalidArgument);
    }
}

} // namespace

X509Store::X509Store() {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    m_store.reset(X509_STORE_new());
    if (!m_store) {
        failWithSslErrors("X509Store::X509Store", "Failed to allocate memory for X509_STORE with error %s",
                          "Failed to allocate memory for X509_STORE.", codeNoMemory);
    }
}

X509Store::X509Store(const X509Store& other) : X509Store() {
    constexpr const char* function = "X509Store::X509Store";
    const ossl::ErrorScope errors;
    if (other.m_trusted) {
        m_trusted = copyOf(other.m_trusted.get());
    }
    if (other.m_verifyParam) {
        m_verifyParam.reset(X509_VERIFY_PARAM_new());
    }
    OpenSslPtr<STACK_OF(X509)> verified;
    if (other.m_verifiedChain) {
        verified = copyOf(referencesTo(*other.m_verifiedChain).get());
    }
    if ((other.m_trusted && !m_trusted) || (other.m_verifiedChain && !verified) ||
        (other.m_verifyParam && !m_verifyParam) ||
        (m_verifyParam && X509_VERIFY_PARAM_set1(m_verifyParam.get(), other.m_verifyParam.get()) != 1) ||
        X509_STORE_set1_param(m_store.get(), X509_STORE_get0_param(other.m_store.get())) != 1) {
        failWithSslErrors(function, "Failed to copy X509_STORE with error %s", "Failed to copy X509_STORE.",
                          codeNoMemory);
    }
    if (other.m_crls) {
        m_crls = std::make_unique<X509CrlChain>(other.m_crls->getCrlChainBlob());
    }
    if (other.m_verifiedChain) {
        m_verifiedChain = chainOver(verified.get());
    }
    setVerifyCallback(X509_STORE_get_verify_cb(other.m_store.get()));
    m_status = other.m_status;
}

X509Store& X509Store::operator=(const X509Store& other) {
    X509Store copy(other);
    m_store.swap(copy.m_store);
    m_trusted.swap(copy.m_trusted);
    m_crls.swap(copy.m_crls);
    m_verifiedChain.swap(copy.m_verifiedChain);
    m_verifyParam.swap(copy.m_verifyParam);
    std::swap(m_status, copy.m_status);
    return *this;
}

X509Store::~X509Store() = default;

void X509Store::setTrustedCerts(const std::string& pem) {
    m_trusted = referencesTo(X509CertChain(pem, INIT_TYPE_BLOB));
}

void X509Store::setCrl(const std::string& pem) {
    if (pem.empty()) {
        clogmsg(logTrace, "X509Store::setCrl", "CRL Stack string is empty to reseting previous allocation");
    }
    m_crls.reset();
    if (!pem.empty()) {
        m_crls = std::make_unique<X509CrlChain>(pem);
    }
}

void X509Store::setCrlCheckLevel(crl_check_level level) {
    constexpr const char* function = "setCrlCheckLevel()";
    const ossl::ErrorScope errors;
    const unsigned long flags = checkFlags(level);
    if (m_verifyParam) {
        clogmsg(logInfo, function, "Releasing existing m_verifyParam object");
    }
    m_verifyParam.reset(X509_VERIFY_PARAM_new());
    if (!m_verifyParam) {
        failWithSslErrors(function, "Failed to allocate memory for X509_VERIFY_PARAM with error %s",
                          "Failed to allocate memory for X509_VERIFY_PARAM.", codeNoMemory);
    }
    if (X509_VERIFY_PARAM_set_flags(m_verifyParam.get(), flags) != 1) {
        const std::string reason = drainSslErrors();
        m_verifyParam.reset();
        clogmsg(logFailure, function, "Failed to set CRL verification flags in X509_VERIFY_PARAM with error %s",
                reason.c_str());
        throw CmnException("Failed to set CRL verification flags.", codeCrlFlags);
    }
    setVerifyParam(m_verifyParam.get());
}

void X509Store::setVerifyParam(const X509_VERIFY_PARAM* param) {
    if (X509_STORE_set1_param(m_store.get(), param) != 1) {
        m_status.code = codeVerifyParameters;
        m_status.message = "Failed to set the certificate verification flags.";
        failWithSslErrors("X509Store::setVerifyParam", "Failed to set the certificate verification flags with error %s",
                          "Failed to set the certificate verification flags", codeChainUnusable);
    }
    // The store adds flags to those that it has: what the new level leaves out has to be taken away.
    constexpr unsigned long levelFlags = X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL;
    X509_VERIFY_PARAM_clear_flags(X509_STORE_get0_param(m_store.get()),
                                  levelFlags & ~X509_VERIFY_PARAM_get_flags(const_cast<X509_VERIFY_PARAM*>(param)));
}

void X509Store::setVerifyCallback(int (*callback)(int, X509_STORE_CTX*)) {
    if (callback != nullptr) {
        X509_STORE_set_verify_cb(m_store.get(), callback);
    }
}

const _storeStatus& X509Store::getStatus() const noexcept {
    return m_status;
}

std::string X509Store::getVerifiedCertChain() const {
    return m_verifiedChain ? m_verifiedChain->getPemString() : std::string();
}

const X509CertChain* X509Store::getVerifiedX509CertChain() const noexcept {
    return m_verifiedChain.get();
}

} // namespace CmnCrypto
