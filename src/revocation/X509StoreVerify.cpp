// The verification itself.

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/X509Store.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"
#include "x509/ChainReferences.h"

namespace CmnCrypto {

namespace {

constexpr const char* tag = "verifyX509Cert(X509 cert)";

} // namespace

int X509Store::verifyX509Cert(const std::string& pemChain) try {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    m_status = {}; // whatever ends the call early, the outcome before is not this one's
    const X509CertChain chain(pemChain, INIT_TYPE_BLOB);
    const OpenSslPtr<STACK_OF(X509)> untrusted = referencesTo(chain);
    const OpenSslPtr<X509_STORE_CTX> context(X509_STORE_CTX_new());
    if (!context) {
        failWithSslErrors(tag, "Failed to allocate memory for X509_STORE_CTX with error %s",
                          "Failed to allocate memory for X509_STORE_CTX.", codeNoMemory);
    }
    if (X509_STORE_CTX_init(context.get(), m_store.get(), sk_X509_value(untrusted.get(), 0), untrusted.get()) != 1) {
        failWithSslErrors(tag, "Failed to initialize X509_STORE_CTX with error %s",
                          "Failed to initialize X509_STORE_CTX.", codeVerificationFailed);
    }
    if (m_crls) {
        X509_STORE_CTX_set0_crls(context.get(), m_crls->getX509Crls());
    }
    if (m_trusted) {
        X509_STORE_CTX_set0_trusted_stack(context.get(), m_trusted.get());
    }
    return X509_verify_cert(context.get()) == 1 ? accept(context.get()) : reject(context.get());
} catch (const CmnException& failure) {
    m_status.code = failure.getErrorCode();
    m_status.message = failure.what();
    throw;
} catch (const std::bad_alloc&) {
    m_status.code = codeNoMemory;
    throw;
}

/** The very certificates, not copies of them: parsing one with its key costs as much as checking a signature. */
std::unique_ptr<X509CertChain> X509Store::chainOver(const STACK_OF(X509)* certificates) {
    auto chain = std::make_unique<X509CertChain>();
    for (int i = 0; i < sk_X509_num(certificates); ++i) {
        X509_up_ref(sk_X509_value(certificates, i));
        chain->pushCertToVector(sk_X509_value(certificates, i));
    }
    return chain;
}

/** Keeps the chain that OpenSSL has built. @return whether there is one, from now or from before */
bool X509Store::keepChain(const X509_STORE_CTX* context) {
    if (const STACK_OF(X509)* const built = X509_STORE_CTX_get0_chain(context)) {
        clogmsg(logInfo, tag, "Found verified certChain creating certChain object");
        m_verifiedChain = chainOver(built);
    }
    return m_verifiedChain != nullptr;
}

int X509Store::accept(const X509_STORE_CTX* context) {
    if (!keepChain(context)) {
        clogmsg(logFailure, tag, "Failed to get verified chain from X509_STORE_CTX with error %s",
                drainSslErrors().c_str());
        m_status = {true, codeNoMemory, "Failed to get verified chain from X509_STORE_CTX."};
        return -1;
    }
    m_status = {true, 0, "Certificate verified successfully."};
    return 0;
}

int X509Store::reject(const X509_STORE_CTX* context) {
    const int error = X509_STORE_CTX_get_error(context);
    const int depth = X509_STORE_CTX_get_error_depth(context);
    const char* const reason = X509_verify_cert_error_string(error);
    m_status.code = error;
    m_status.message = "Certificate verification failed, depth = " + std::to_string(depth) +
                       ", error = " + std::to_string(error) + " (" + (reason == nullptr ? "NULL" : reason) + ").";
    int result = 0;
    if (!keepChain(context)) {
        clogmsg(logFailure, tag, "Failed to get verified chain from X509_STORE_CTX");
        result = -1;
    }
    clogmsg(logFailure, tag, "%s", m_status.message.c_str());
    return result;
}

} // namespace CmnCrypto
