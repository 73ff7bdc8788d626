#include "cmncrypto/SSLCTXHelper.h"

#include "cmncrypto/CertificatePrivateKeyFactory.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"
#include "tls/ContextKey.h"
#include "x509/PemFile.h"

namespace CmnCrypto {

namespace {

/** Names a certificate as an accepted authority, once. */
bool announceAuthority(SSL_CTX* context, X509* authority) {
    const STACK_OF(X509_NAME)* announced = SSL_CTX_get_client_CA_list(context);
    const X509_NAME* name = X509_get_subject_name(authority);
    for (int i = 0; i < sk_X509_NAME_num(announced); ++i) {
        if (X509_NAME_cmp(sk_X509_NAME_value(announced, i), name) == 0) {
            return true;
        }
    }
    return SSL_CTX_add_client_CA(context, authority) == 1;
}

bool trust(SSL_CTX* context, X509* authority) {
    return X509_STORE_add_cert(SSL_CTX_get_cert_store(context), authority) == 1 &&
           announceAuthority(context, authority);
}

/** Replaces the certificates that are sent with the context's own; the first of the stack is that one. */
bool replaceChain(SSL_CTX* context, const STACK_OF(X509)* certificates) {
    if (SSL_CTX_clear_extra_chain_certs(context) != 1 || SSL_CTX_clear_chain_certs(context) != 1) {
        return false;
    }
    for (int i = 1; i < sk_X509_num(certificates); ++i) {
        if (SSL_CTX_add1_chain_cert(context, sk_X509_value(certificates, i)) != 1) {
            return false;
        }
    }
    return true;
}

/** Runs @p body on the certificates of a file, with an error queue that is empty before and after. */
template <class Body>
int onCertificates(const PemFileLog& log, const std::string& path, cmncrypto_cert_log_cb logger, const SSL_CTX* context,
                   Body&& body) try {
    const ossl::ErrorScope errors;
    if (context == nullptr) {
        return log.failure(codeInvalidArgument, "Invalid argument");
    }
    STACK_OF(X509)* read = nullptr;
    const int result = CertificatePrivateKeyFactory::generateX509Certificates(path, logger, &read);
    if (result != 0) {
        return result;
    }
    const OpenSslPtr<STACK_OF(X509)> certificates(read);
    return body(certificates.get());
} catch (const std::bad_alloc&) {
    log.message("Failed to allocate memory");
    return codeNoMemory;
}

} // namespace

int SSLCTXHelper::set_ca_cert_in_ssl_context(const std::string& path, cmncrypto_cert_log_cb logger, SSL_CTX* context) {
    const PemFileLog log("SSLCTXHelper::set_ca_cert_in_ssl_context", path, logger);
    return onCertificates(log, path, logger, context, [&](const STACK_OF(X509)* certificates) {
        for (int i = 0; i < sk_X509_num(certificates); ++i) {
            if (!trust(context, sk_X509_value(certificates, i))) {
                return log.failure(codeTlsRefused, "Failed to trust a certificate");
            }
        }
        return 0;
    });
}

int SSLCTXHelper::set_cert_chain_in_ssl_context(const std::string& path, cmncrypto_cert_log_cb logger,
                                                SSL_CTX* context) {
    const PemFileLog log("SSLCTXHelper::set_cert_chain_in_ssl_context", path, logger);
    return onCertificates(log, path, logger, context, [&](const STACK_OF(X509)* certificates) {
        if (SSL_CTX_use_certificate(context, sk_X509_value(certificates, 0)) != 1) {
            return log.failure(codeTlsRefused, "Failed to use the certificate");
        }
        if (!replaceChain(context, certificates)) {
            return log.failure(codeTlsRefused, "Failed to use the chain of the certificate");
        }
        return 0;
    });
}

int SSLCTXHelper::set_private_key_in_ssl_context(const std::string& path, const char* passPhrase,
                                                 cmncrypto_cert_log_cb logger, SSL_CTX* context) try {
    const ossl::ErrorScope errors;
    return tls::useKeyFile(context, path, passPhrase, logger, tls::KeyOf::certificate);
} catch (const std::bad_alloc&) {
    PemFileLog("SSLCTXHelper::set_private_key_in_ssl_context", path, logger).message("Failed to allocate memory");
    return codeNoMemory;
}

} // namespace CmnCrypto
