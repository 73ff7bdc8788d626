#include "tls/ContextKey.h"

#include "cmncrypto/CertificatePrivateKeyFactory.h"
#include "frame/Failure.h"
#include "x509/PemFile.h"

namespace CmnCrypto::tls {

namespace {

bool isMismatch(unsigned long error) noexcept {
    const int reason = ERR_GET_REASON(error);
    return ERR_GET_LIB(error) == ERR_LIB_X509 &&
           (reason == X509_R_KEY_VALUES_MISMATCH || reason == X509_R_KEY_TYPE_MISMATCH);
}

/** @return whether a key is that of the context's certificate; true without one */
bool belongs(const SSL_CTX* context, const EVP_PKEY* key) noexcept {
    const X509* const certificate = SSL_CTX_get0_certificate(context);
    return certificate == nullptr || X509_check_private_key(certificate, key) == 1;
}

} // namespace

int useKey(SSL_CTX* context, EVP_PKEY* key) noexcept {
    if (SSL_CTX_use_PrivateKey(context, key) == 1) {
        return 0;
    }
    return isMismatch(ERR_peek_last_error()) ? codeKeyMismatch : codeKeyRefused;
}

int useKeyFile(SSL_CTX* context, const std::string& path, const char* passPhrase, cmncrypto_cert_log_cb logger,
               KeyOf owner) {
    const PemFileLog log("SSLCTXHelper::set_private_key_in_ssl_context", path, logger);
    if (context == nullptr) {
        return log.failure(codeInvalidArgument, "Invalid argument");
    }
    EVP_PKEY* read = nullptr;
    void* const secret = passPhrase == nullptr || *passPhrase == '\0' ? nullptr : const_cast<char*>(passPhrase);
    const int result = CertificatePrivateKeyFactory::generateEVP_PKEY(path, logger, nullptr, secret, &read);
    if (result != 0) {
        return result;
    }
    const OpenSslPtr<EVP_PKEY> key(read);
    const int used =
        owner == KeyOf::certificate && !belongs(context, key.get()) ? codeKeyMismatch : useKey(context, key.get());
    return used == 0 ? 0
                     : log.failure(used, used == codeKeyMismatch ? "The private key is not that of the certificate"
                                                                 : "Failed to use the private key");
}

bool keyMatches(const SSL_CTX* context, const X509* certificate) noexcept {
    if (SSL_CTX_check_private_key(context) != 1) {
        return false;
    }
    if (SSL_CTX_get0_certificate(context) != certificate) {
        // The key has met a certificate of its own kind from earlier.
        ERR_raise(ERR_LIB_X509, X509_R_KEY_TYPE_MISMATCH);
        return false;
    }
    return true;
}

} // namespace CmnCrypto::tls
