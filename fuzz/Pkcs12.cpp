// Bundles, taken apart through the class, the flat function and OpenSSL.

#include "Harness.h"

/** A bundle's parts, empty for those that are missing. */
static std::string take(X509* certificate, EVP_PKEY* key) {
    const fuzz::OpenSslPtr<X509> certificateOwner(certificate);
    const fuzz::OpenSslPtr<EVP_PKEY> keyOwner(key);
    return fuzz::written([&](BIO* bio) {
        return (certificate == nullptr || i2d_X509_bio(bio, certificate)) && key != nullptr &&
               i2d_PrivateKey_bio(bio, key);
    });
}

void fuzz::tryOut(const std::string& input) {
    const auto length = static_cast<int>(input.size());
    for (const char* password : {"secret", "", static_cast<const char*>(nullptr)}) {
        if (isCostly(input)) {
            break;
        }
        const unsigned char* data = bytesOf(input);
        const OpenSslPtr<PKCS12> bundle(d2i_PKCS12(nullptr, &data, length));
        X509* certificate = nullptr;
        EVP_PKEY* key = nullptr;
        const bool opens = bundle && PKCS12_parse(bundle.get(), password, &key, &certificate, nullptr) == 1;
        noteSslError();
        const std::string expected = take(certificate, key);
        certificate = reinterpret_cast<X509*>(&certificate); // to be set, and never looked at
        key = reinterpret_cast<EVP_PKEY*>(&key);
        const bool done = succeeds(
            [&] { X509Certificate::extractCertFromPKCS12(bytesOf(input), length, password, &certificate, &key); });
        require(done || (certificate == nullptr && key == nullptr), "nothing after a failure");
        const std::string found = take(certificate, key);
        require(!opens || (done && found == expected), "what OpenSSL opens, the library opens, too");
        const int code = cmncrypto_extractCertFromPKCS12(bytesOf(input), length, password, &certificate, &key);
        require((code == 0) == done && take(certificate, key) == found, "the flat function does the same");
    }
}
