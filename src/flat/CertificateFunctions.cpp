#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/X509Certificate.h"
#include "cmncrypto/cmncrypto.h"
#include "flat/FlatGuard.h"

using namespace CmnCrypto;

namespace {

/** What both fingerprint functions do first. */
bool acceptsOutput(const char* function, _HASH_ALGO algorithm, const void* out) {
    clogmsg(logInfo, function, "Calling generateHash for Hash algo:%d", algorithm);
    if (out == nullptr) {
        clogmsg(logFailure, function, "Out parameter of fingerprint cannot be null and must be of sufficient size");
        return false;
    }
    CmnApi::initOpenssl();
    return true;
}

} // namespace

int cmncrypto_generateHashForDisplay(X509* certificate, _HASH_ALGO algorithm, char* out, size_t outSize) {
    constexpr const char* function = "cmncrypto_generateHashForDisplay";
    return guarded(function, [=] {
        if (!acceptsOutput(function, algorithm, out)) {
            return codeInvalidArgument;
        }
        X509Certificate borrowed(certificate, false);
        const std::string fingerprint = borrowed.generateHash(algorithm);
        clogmsg(logInfo, function, "Fingerprint value:%s", fingerprint.c_str());
        const size_t copied = std::min(outSize, fingerprint.size());
        std::memcpy(out, fingerprint.data(), copied);
        out[copied] = '\0'; // at index outSize for a short buffer: hosts announce one byte less than they have
        clogmsg(logInfo, function, "Fingerprint value to be returned:%s", out);
        return 0;
    });
}

int cmncrypto_generateHashInBin(X509* certificate, _HASH_ALGO algorithm, unsigned char* out, size_t outSize) {
    constexpr const char* function = "cmncrypto_generateHashInBin";
    return guarded(function, [=] {
        if (!acceptsOutput(function, algorithm, out)) {
            return codeInvalidArgument;
        }
        const X509Certificate borrowed(certificate, false);
        std::memset(out, 0, outSize);
        borrowed.generateHash(out, algorithm); // the whole digest, whatever outSize says
        return 0;
    });
}

int cmncrypto_convertToPKCS12(X509* certificate, EVP_PKEY* key, char* password, unsigned char* out, int* length) {
    return guarded("cmncrypto_convertToPKCS12", [=] {
        X509Certificate::convertToPKCS12(certificate, key, password, out, length);
        return 0;
    });
}

int cmncrypto_extractCertFromPKCS12(const unsigned char* data, int length, const char* password, X509** certificate,
                                    EVP_PKEY** key) {
    return guarded("cmncrypto_extractCertFromPKCS12", [=] {
        X509Certificate::extractCertFromPKCS12(data, length, password, certificate, key);
        return 0;
    });
}

int cmncrypto_getPEMfromCertificate(X509* certificate, char** pem) {
    constexpr const char* function = "cmncrypto_getPEMfromCertificate";
    return guarded(function, [=] {
        if (pem == nullptr) {
            fail(function, "Invalid argument", codeInvalidArgument);
        }
        *pem = nullptr;
        const std::string text = X509Certificate(certificate, false).getPemString();
        auto* const copy = static_cast<char*>(std::malloc(text.size() + 1));
        if (copy == nullptr) {
            fail(function, "Failed to allocate PEM certificate.", codeNoMemory);
        }
        std::memcpy(copy, text.c_str(), text.size() + 1);
        *pem = copy;
        return 0;
    });
}

int cmncrypto_releaseCertificate(X509** certificate) {
    return guarded("cmncrypto_releaseCertificate", [=] {
        X509Certificate::releaseCertificate(certificate);
        return 0;
    });
}
