// Certificates and keys in PKCS#12 bundles (RFC 7292).

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/X509Certificate.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"
#include "x509/BundleReader.h"

namespace CmnCrypto {

namespace {

constexpr const char* packTag = "X509Certificate::convertToPKCS12";
constexpr const char* unpackTag = "X509Certificate::extractCertFromPKCS12";

} // namespace

void X509Certificate::convertToPKCS12(X509* certificate, EVP_PKEY* key, char* password, unsigned char* out,
                                      int* length) {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    if (out == nullptr || length == nullptr || *length < 0) {
        fail(packTag, "Invalid argument", codeInvalidArgument);
    }
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    if (!bio) {
        fail(packTag, "Failed to allocate BIO.", codeNoMemory);
    }
    const OpenSslPtr<PKCS12> pkcs12(PKCS12_create(password, nullptr, key, certificate, nullptr, 0, 0, 0, 0, 0));
    if (!pkcs12) {
        fail(packTag, "Failed to create structure using certificate and key.", codeWriteFailed);
    }
    if (i2d_PKCS12_bio(bio.get(), pkcs12.get()) != 1) {
        fail(packTag, "Failed to serialize certificate and private key to buffer.", codeWriteFailed);
    }
    const int count = *length == 0 ? 0 : BIO_read(bio.get(), out, *length);
    if (count < 0 || (count == 0 && *length > 0)) {
        fail(packTag, "Failed to serialize certificate and private key to buffer.", codeWriteFailed);
    }
    *length = count; // a larger bundle is cut silently: callers size the buffer
}

void X509Certificate::extractCertFromPKCS12(const unsigned char* data, int length, const char* password,
                                            X509** certificate, EVP_PKEY** key) {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    if (certificate == nullptr || key == nullptr) {
        fail(unpackTag, "Invalid argument", codeInvalidArgument);
    }
    *certificate = nullptr;
    *key = nullptr;
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    if (!bio) {
        fail(unpackTag, "Failed to allocate BIO.", codeNoMemory);
    }
    if (data == nullptr || length < 1 || BIO_write(bio.get(), data, length) < 1) {
        fail(unpackTag, "Failed to open cert file.", codeOpenFailed);
    }
    const OpenSslPtr<PKCS12> pkcs12(d2i_PKCS12_bio(bio.get(), nullptr));
    if (!pkcs12) {
        fail(unpackTag, "Failed to de serialize certificate and private key from buffer.", codeReadFailed);
    }
    BundleParts bundle;
    if (!readBundle(unpackTag, pkcs12.get(), data, length, password, bundle)) {
        fail(unpackTag, "Failed to parse structure using certificate and key.", codeReadFailed);
    }
    *certificate = bundle.certificate.release();
    *key = bundle.key.release();
}

} // namespace CmnCrypto
