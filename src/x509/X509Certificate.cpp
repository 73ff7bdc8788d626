#include "cmncrypto/X509Certificate.h"

#include <algorithm>

#include "cmncrypto/CmnApi.h"
#include "frame/Failure.h"
#include "frame/HashAlgorithmTable.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto {

namespace {

constexpr const char* generateHashTag = "X509Certificate::generateHash";

/** The digest of a certificate's DER form. @return its length in bytes */
unsigned int fingerprint(const X509* certificate, _HASH_ALGO algorithm, unsigned char (&digest)[EVP_MAX_MD_SIZE]) {
    if (certificate == nullptr) {
        fail(generateHashTag, "Certificate is NULL.", "Certificate is NULL.", codeInvalidArgument);
    }
    ossl::clearErrors();
    const _HASH_ALGO_MAP_STRUCT* row = hashAlgorithmRow(algorithm);
    const EVP_MD* type = row == nullptr ? nullptr : EVP_get_digestbyname(row->name);
    if (type == nullptr) {
        fail(generateHashTag, "Failed to initialize EVP_get_digestbyname", "Failed to initialize EVP_get_digestbyname",
             codeInvalidArgument);
    }
    unsigned int length = 0;
    if (X509_digest(certificate, type, digest, &length) != 1 ||
        length != static_cast<unsigned int>(row->digestLength)) {
        ossl::clearErrors();
        clogmsg(logFailure, generateHashTag, "Failed to get %s digest of certificate.", row->name);
        throw CmnException("Failed to get SHA digest of certificate.", codeReadFailed); // whatever the algorithm
    }
    return length;
}

} // namespace

X509Certificate::X509Certificate(X509* certificate, bool owns) : m_certificate(certificate), m_owns(owns) {
    CmnApi::initOpenssl();
}

X509Certificate::X509Certificate(const X509Certificate& other)
    : LibraryObject(other), m_certificate(nullptr), m_owns(false) {}

// NOLINTNEXTLINE(misc-unconventional-assign-operator): an empty object comes back, as callers expect
X509Certificate X509Certificate::operator=(const X509Certificate& other) {
    return X509Certificate(other);
}

X509Certificate::~X509Certificate() {
    if (m_owns) {
        X509_free(m_certificate);
    }
}

std::string X509Certificate::generateHash(_HASH_ALGO algorithm) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    const unsigned int length = fingerprint(m_certificate, algorithm, digest);
    std::string text;
    CmnApi::hexToString(digest, length, text);
    return text;
}

void X509Certificate::generateHash(unsigned char* out, _HASH_ALGO algorithm) const {
    if (out == nullptr) {
        // The log and the exception differ in the case of one word, and callers match both.
        fail(generateHashTag, "fp_text is output variable and cannot be NULL",
             "fp_text is output variable and cannot be null", codeInvalidArgument);
    }
    unsigned char digest[EVP_MAX_MD_SIZE];
    const unsigned int length = fingerprint(m_certificate, algorithm, digest);
    std::copy(digest, digest + length, out);
}

X509* X509Certificate::getX509() const noexcept {
    return m_certificate;
}

} // namespace CmnCrypto
