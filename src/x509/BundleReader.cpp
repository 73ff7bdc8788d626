#include "x509/BundleReader.h"

#include <climits>

#include "frame/Failure.h"
#include "frame/FipsMode.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto {

namespace {

/** Takes a bundle apart. @return false with the reason in the error queue */
bool parse(PKCS12* bundle, const char* password, BundleParts& parts) {
    EVP_PKEY* key = nullptr;
    X509* certificate = nullptr;
    STACK_OF(X509)* further = nullptr;
    const int result = PKCS12_parse(bundle, password, &key, &certificate, &further);
    parts.key.reset(key);
    parts.certificate.reset(certificate);
    parts.further.reset(further);
    return result == 1;
}

/** Whether a bundle's checksum speaks for a password; one that cannot be computed does not speak against it. */
bool agrees(PKCS12* bundle, const char* password, int length) {
    ossl::clearErrors();
    return PKCS12_verify_mac(bundle, password, length) == 1 || ERR_peek_error() != 0;
}

/** Takes a bundle apart whose encryption the process's own providers do not know. */
bool parseOldFormat(const char* function, const unsigned char* data, int length, const char* password,
                    BundleParts& parts) {
    const std::string algorithm = ossl::missingAlgorithm();
    const ossl::LegacyContext context;
    if (!context.isUsable()) {
        clogmsg(logFailure, function, "OpenSSL's legacy provider is not available, which %s needs", algorithm.c_str());
        return false;
    }
    ossl::clearErrors();
    return openOldBundle(data, length, password, context, parts);
}

} // namespace

bool bundlePasswordFits(PKCS12* bundle, const std::string& password) {
    const bool fits =
        PKCS12_mac_present(bundle) != 1 ||
        (password.size() <= INT_MAX && agrees(bundle, password.c_str(), static_cast<int>(password.size()))) ||
        (password.empty() && agrees(bundle, nullptr, 0));
    ossl::clearErrors(); // an unsuccessful attempt must not be taken for the reason of what follows
    return fits;
}

bool readBundle(const char* function, PKCS12* bundle, const unsigned char* data, int length, const char* password,
                BundleParts& parts) {
    return parse(bundle, password, parts) || (ossl::isAlgorithmMissing() && fips::FIPS_mode() == 0 &&
                                              parseOldFormat(function, data, length, password, parts));
}

} // namespace CmnCrypto
