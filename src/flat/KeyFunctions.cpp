#include "cmncrypto/CertificatePrivateKeyFactory.h"
#include "cmncrypto/PrivateKeyUtils.h"
#include "cmncrypto/X509PrivateKey.h"
#include "cmncrypto/cmncrypto.h"
#include "flat/OnPath.h"

using namespace CmnCrypto;

int cmncrypto_generatePrivateKey(unsigned short bits, EVP_PKEY** key) {
    return guarded("cmncrypto_generatePrivateKey", [=] { return X509PrivateKey::generatePrivateKey(bits, key); });
}

int cmncrypto_generateSelfSignCertificate(unsigned short days, _HASH_ALGO algorithm, subTokenValuePair* subject,
                                          EVP_PKEY** key, X509** certificate) {
    return guarded("cmncrypto_generateSelfSignCertificate", [=] {
        return X509PrivateKey::generateSelfSignCertificate(days, algorithm, subject, key, certificate);
    });
}

int cmncrypto_releasePrivateKey(EVP_PKEY** key) {
    return guarded("cmncrypto_releasePrivateKey", [=] {
        X509PrivateKey::releasePrivateKey(key);
        return 0;
    });
}

int generateEVP_PKEY_c(const char* path, cmncrypto_cert_log_cb logger, pem_password_cb* callback, void* userData,
                       EVP_PKEY** key) {
    return onPath("generateEVP_PKEY_c", path, [=](const std::string& file) {
        return CertificatePrivateKeyFactory::generateEVP_PKEY(file, logger, callback, userData, key);
    });
}

int generateX509Certificates_c(const char* path, cmncrypto_cert_log_cb logger, STACK_OF(X509)** certificates) {
    return onPath("generateX509Certificates_c", path, [=](const std::string& file) {
        return CertificatePrivateKeyFactory::generateX509Certificates(file, logger, certificates);
    });
}

int generateX509LeafCertificate_c(const char* path, cmncrypto_cert_log_cb logger, X509** certificate) {
    return onPath("generateX509LeafCertificate_c", path, [=](const std::string& file) {
        return CertificatePrivateKeyFactory::generateX509LeafCertificate(file, logger, certificate);
    });
}

int is_private_key_file_encrypted_c(const char* path, cmncrypto_cert_log_cb logger, int* encrypted) {
    return onPath("is_private_key_file_encrypted_c", path, [=](const std::string& file) {
        return PrivateKeyUtils::is_private_key_file_encrypted(file, logger, encrypted);
    });
}
