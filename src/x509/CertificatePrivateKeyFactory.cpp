#include "cmncrypto/CertificatePrivateKeyFactory.h"

#include "frame/Failure.h"
#include "x509/PemFile.h"
#include "x509/PrivateKeyPem.h"

namespace CmnCrypto {

namespace {

/** The next certificate of a PEM text; null at its end or where one is malformed. */
OpenSslPtr<X509> nextCertificate(BIO* pem) {
    return OpenSslPtr<X509>(PEM_read_bio_X509_AUX(pem, nullptr, refusePassPhrase, nullptr));
}

/** @return whether a reading ended because there was nothing more to be read */
bool isAtEnd() {
    const unsigned long code = ERR_peek_last_error();
    return ERR_GET_LIB(code) == ERR_LIB_PEM && ERR_GET_REASON(code) == PEM_R_NO_START_LINE;
}

} // namespace

int CertificatePrivateKeyFactory::generateX509Certificates(const std::string& path, cmncrypto_cert_log_cb logger,
                                                           STACK_OF(X509)** certificates) {
    const PemFileLog log("CertificatePrivateKeyFactory::generateX509Certificates", path, logger);
    return onPemFile(log, certificates, [&](BIO* pem) {
        OpenSslPtr<STACK_OF(X509)> stack(sk_X509_new_null());
        while (OpenSslPtr<X509> certificate = nextCertificate(pem)) {
            if (sk_X509_push(stack.get(), certificate.get()) < 1) { // -1 where there is no stack
                return log.failure(codeNoMemory, "Failed to allocate memory");
            }
            static_cast<void>(certificate.release());
        }
        if (!isAtEnd()) {
            return log.failure(codeReadFailed, "Failed to read a certificate");
        }
        if (sk_X509_num(stack.get()) < 1) {
            return log.failure(codeReadFailed, "Failed to find a certificate");
        }
        *certificates = stack.release();
        return 0;
    });
}

int CertificatePrivateKeyFactory::generateX509LeafCertificate(const std::string& path, cmncrypto_cert_log_cb logger,
                                                              X509** certificate) {
    const PemFileLog log("CertificatePrivateKeyFactory::generateX509LeafCertificate", path, logger);
    return onPemFile(log, certificate, [&](BIO* pem) {
        *certificate = nextCertificate(pem).release();
        if (*certificate == nullptr) {
            return log.failure(codeReadFailed,
                               isAtEnd() ? "Failed to find a certificate" : "Failed to read a certificate");
        }
        return 0;
    });
}

int CertificatePrivateKeyFactory::generateEVP_PKEY(const std::string& path, cmncrypto_cert_log_cb logger,
                                                   pem_password_cb* callback, void* userData, EVP_PKEY** key) {
    const PemFileLog log("CertificatePrivateKeyFactory::generateEVP_PKEY", path, logger);
    return onPemFile(log, key, [&](BIO* pem) {
        PassPhrase passPhrase(callback, userData);
        ReadKey read = readPrivateKeyPem(pem, passPhrase, [&log](const char* text) { log.message(text); });
        *key = read.key.release();
        if (*key == nullptr) {
            return log.failure(codeReadFailed, read.fipsRefused        ? "FIPS mode refuses the private key"
                                               : passPhrase.wasAsked() ? "Failed to decrypt a private key"
                                                                       : "Failed to read a private key");
        }
        return 0;
    });
}

} // namespace CmnCrypto
