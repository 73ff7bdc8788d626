#include <algorithm>
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
