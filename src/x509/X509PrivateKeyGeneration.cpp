// New keys and self-signed certificates.

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/X509Certificate.h"
#include "cmncrypto/X509PrivateKey.h"
#include "frame/Failure.h"
#include "ossl/Algorithms.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto {

namespace {

constexpr const char* keyTag = "X509PrivateKey::generatePrivateKey";
constexpr const char* certificateTag = "X509PrivateKey::generateSelfSignCertificate";

/** Logs a failed step with OpenSSL's errors. @return its code */
// The formats are literals of this file, each with its one "%s".
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
int failedStep(const char* function, const char* format, int code) {
    clogmsg(logFailure, function, format, drainSslErrors().c_str());
    return code;
}
#pragma GCC diagnostic pop

/** The steps of generatePrivateKey(). @return 0 or the code of the step that failed */
int makeKey(unsigned short bits, EVP_PKEY*& key) {
    key = EVP_PKEY_new();
    if (key == nullptr) {
        return codeAllocationFailed;
    }
    const OpenSslPtr<BIGNUM> exponent(BN_new());
    if (!exponent || BN_set_word(exponent.get(), RSA_F4) != 1) {
        return failedStep(keyTag, "Failed to set BN with error %s", codeWriteFailed);
    }
    // Not RSA_generate_key_ex(): in FIPS mode the key has to come from the FIPS provider.
    const OpenSslPtr<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new_from_name(nullptr, "RSA", nullptr));
    if (!context || EVP_PKEY_keygen_init(context.get()) != 1 ||
        EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), bits) != 1 ||
        EVP_PKEY_CTX_set1_rsa_keygen_pubexp(context.get(), exponent.get()) != 1 ||
        EVP_PKEY_generate(context.get(), &key) != 1) {
        return failedStep(keyTag, "Failed to generate RSA with error %s", codeWriteFailed);
    }
    if (EVP_PKEY_get_base_id(key) != EVP_PKEY_RSA) { // a provider of the host's may have served us
        return failedStep(keyTag, "Failed to assign RSA with error %s", codeWriteFailed);
    }
    return 0;
}

/** Gives a certificate a random positive serial number of exactly 64 bits. */
bool setSerial(X509* certificate) {
    constexpr const char* function = "gen_serial";
    constexpr int bits = 64;
    const OpenSslPtr<BIGNUM> number(BN_new());
    if (!number) {
        clogmsg(logFailure, function, "Failed to create BN");
        return false;
    }
    if (BN_rand(number.get(), bits, BN_RAND_TOP_ONE, BN_RAND_BOTTOM_ANY) != 1 ||
        BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) == nullptr) {
        clogmsg(logFailure, function, "gen_serial method failed");
        return false;
    }
    return true;
}

/** Sets validity, version and serial number. @return 0 or the code of the step that failed */
int setFrame(X509* certificate, unsigned short days) {
    if (X509_gmtime_adj(X509_getm_notBefore(certificate), 0) == nullptr) {
        return failedStep(certificateTag, "Failed in setting start time validity of certificate with error %s",
                          codeWriteFailed);
    }
    // 32 bits on purpose, as callers have always had it: from 24856 days on the end is not where they asked for it.
    const auto seconds = static_cast<int32_t>(uint32_t{days} * 86400U);
    if (X509_gmtime_adj(X509_getm_notAfter(certificate), seconds) == nullptr) {
        return failedStep(certificateTag, "Failed in setting end time validity of certificate with error %s",
                          codeWriteFailed);
    }
    if (X509_set_version(certificate, X509_VERSION_3) != 1) {
        return failedStep(certificateTag, "Failed in setting version to certificate with error %s", codeWriteFailed);
    }
    if (!setSerial(certificate)) {
        return failedStep(certificateTag, "Failed to get serial number from certificate with error %s",
                          codeCryptoFailed);
    }
    return 0;
}

/** Sets subject and issuer. @return 0 or the code of the step that failed */
int setNames(X509* certificate, const subTokenValuePair* subject) {
    if (subject == nullptr) {
        clogmsg(logFailure, certificateTag, "Filed name value pair is null.");
        return codeCryptoFailed;
    }
    X509_NAME* const name = X509_get_subject_name(certificate);
    for (const subTokenValuePair* pair = subject; pair != nullptr; pair = pair->next) {
        if (pair->token != nullptr && pair->value != nullptr) {
            // An attribute that OpenSSL refuses is left out: callers hand over whatever their users have filled in.
            X509_NAME_add_entry_by_txt(name, pair->token, MBSTRING_ASC,
                                       reinterpret_cast<const unsigned char*>(pair->value), -1, -1, 0);
        }
    }
    if (X509_set_issuer_name(certificate, name) != 1) {
        return failedStep(certificateTag, "Failed to set issuer name to certificate with error %s", codeWriteFailed);
    }
    return 0;
}

const EVP_MD* signatureDigest(_HASH_ALGO algorithm) {
    switch (algorithm) {
    case HASH_ALGO_SHA256:
        return ossl::digest(ossl::Digest::sha256);
    case HASH_ALGO_SHA1:
        return ossl::digest(ossl::Digest::sha1);
    default: // unknown values included: callers rely on SHA-512 there
        return ossl::digest(ossl::Digest::sha512);
    }
}

/** The steps of generateSelfSignCertificate(). @return 0 or the code of the step that failed */
int makeCertificate(unsigned short days, _HASH_ALGO algorithm, const subTokenValuePair* subject, EVP_PKEY* key,
                    X509*& certificate) {
    clogmsg(logInfo, certificateTag, "Using [%d] algorithm for digest", static_cast<int>(algorithm));
    const EVP_MD* const digest = signatureDigest(algorithm);
    certificate = X509_new();
    if (certificate == nullptr) {
        return failedStep(certificateTag, "Failed to create new certificate with error %s", codeAllocationFailed);
    }
    if (const int result = setFrame(certificate, days); result != 0) {
        return result;
    }
    if (const int result = setNames(certificate, subject); result != 0) {
        return result;
    }
    if (digest == nullptr) {
        clogmsg(logFailure, certificateTag, "Failed to create algo digest.");
        return codeNoDigest;
    }
    if (key == nullptr || X509_set_pubkey(certificate, key) != 1) {
        return failedStep(certificateTag, "Failed to set key with error %s", codeWriteFailed);
    }
    if (X509_sign(certificate, key, digest) == 0) {
        return failedStep(certificateTag, "Failed to sign certificate using key, with error %s", codeWriteFailed);
    }
    return 0;
}

} // namespace

int X509PrivateKey::generatePrivateKey(unsigned short bits, EVP_PKEY** key) {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    if (key == nullptr) {
        fail(keyTag, "Failed to generate private key", codeInvalidArgument);
    }
    if (const int result = makeKey(bits, *key); result != 0) {
        releasePrivateKey(key);
        *key = nullptr;
        fail(keyTag, "Failed to generate private key", result);
    }
    return 0;
}

int X509PrivateKey::generateSelfSignCertificate(unsigned short days, _HASH_ALGO algorithm, subTokenValuePair* subject,
                                                EVP_PKEY** key, X509** certificate) {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    if (key == nullptr) {
        fail(certificateTag, "Failed to generate certificate.", codeInvalidArgument);
    }
    const int result =
        certificate == nullptr ? codeInvalidArgument : makeCertificate(days, algorithm, subject, *key, *certificate);
    if (result != 0) {
        X509Certificate::releaseCertificate(certificate);
        releasePrivateKey(key); // the caller's own key goes, too: callers rely on having nothing left to release
        *key = nullptr;
        fail(certificateTag, "Failed to generate certificate.", result);
    }
    return 0;
}

} // namespace CmnCrypto
