// What a certificate is made of and how it is copied, shown and written; its dates, extensions, distribution points and
// bundles have sources of their own.

#include "cmncrypto/X509Certificate.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include "cmncrypto/CmnApi.h"
#include "frame/Failure.h"
#include "frame/FileSystem.h"
#include "frame/HashAlgorithmTable.h"
#include "ossl/ErrorQueue.h"
#include "x509/CertificateHeld.h"
#include "x509/NameText.h"
#include "x509/NewFile.h"
#include "x509/PassPhrase.h"

namespace CmnCrypto {

namespace {

constexpr const char* certificateConstructorTag = "X509Certificate::X509Certificate";
constexpr const char* generateHashTag = "X509Certificate::generateHash";

OpenSslPtr<X509> readPemText(const std::string& text) {
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    if (!bio) {
        fail(certificateConstructorTag, "Failed to allocate BIO", codeNoMemory);
    }
    // A text that does not fit is one without a certificate.
    OpenSslPtr<X509> certificate(text.size() <= INT_MAX && BIO_puts(bio.get(), text.c_str()) >= 0
                                     ? PEM_read_bio_X509(bio.get(), nullptr, refusePassPhrase, nullptr)
                                     : nullptr);
    if (!certificate) {
        fail(certificateConstructorTag, "Certificate does not comply to X509 standard", codeNotX509);
    }
    return certificate;
}

/** The digest of a certificate's DER form. @return its length in bytes */
unsigned int fingerprint(const X509* certificate, _HASH_ALGO algorithm, unsigned char (&digest)[EVP_MAX_MD_SIZE]) {
    const ossl::ErrorScope errors;
    heldCertificate(certificate, generateHashTag);
    const _HASH_ALGO_MAP_STRUCT* row = hashAlgorithmRow(algorithm);
    const EVP_MD* type = hashAlgorithmDigest(algorithm);
    if (row == nullptr || type == nullptr) {
        fail(generateHashTag, "Failed to initialize EVP_get_digestbyname", codeInvalidArgument);
    }
    unsigned int length = 0;
    if (X509_digest(certificate, type, digest, &length) != 1 ||
        length != static_cast<unsigned int>(row->digestLength)) {
        clogmsg(logFailure, generateHashTag, "Failed to get %s digest of certificate.", row->name);
        throw CmnException("Failed to get SHA digest of certificate.", codeReadFailed); // whatever the algorithm
    }
    return length;
}

[[noreturn]] void failPem(const char* logText) {
    constexpr const char* function = "X509Certificate::getPemString";
    const std::string errors = drainSslErrors(); // now, as the host's callback may use the library
    clogmsg(logFailure, function, "%s", logText);
    clogmsg(logFailure, function, "SSL Error : %s", errors.c_str());
    throw CmnException("Failed to get Cert String from X509 cert", codeNotX509);
}

} // namespace

X509Certificate::X509Certificate(const std::string& source, _INIT_TYPE type) {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    if (type == INIT_TYPE_PATH) {
        readCertFromFile(source);
    } else {
        m_certificate = readPemText(source).release();
    }
    m_owns = true;
}

X509Certificate::X509Certificate(X509* certificate, bool owns) : m_certificate(certificate), m_owns(owns) {
    CmnApi::initOpenssl();
}

X509Certificate::X509Certificate(const X509* certificate) : m_owns(true) {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    m_certificate = certificate == nullptr ? nullptr : X509_dup(certificate);
    if (m_certificate == nullptr) {
        fail(certificateConstructorTag, "Failed to allocate certificate object.", codeNoMemory);
    }
}

X509Certificate::X509Certificate(const X509Certificate& other) : LibraryObject(other) {}

// NOLINTNEXTLINE(misc-unconventional-assign-operator): an empty object comes back, as callers expect
X509Certificate X509Certificate::operator=(const X509Certificate& other) {
    return X509Certificate(other);
}

X509Certificate::~X509Certificate() {
    // Who borrows a certificate frees nothing, not even the points decoded here: callers go on using them.
    if (m_certificate != nullptr && m_owns) {
        X509_free(m_certificate);
        CRL_DIST_POINTS_free(m_cdps);
    }
}

X509Certificate* X509Certificate::X509Certificate_dup() const {
    const ossl::ErrorScope errors;
    OpenSslPtr<X509> copy(m_certificate == nullptr ? nullptr : X509_dup(m_certificate));
    if (!copy) {
        failWithSslErrors("X509Certificate::X509Certificate_dup", "Unable to create a copy of certificate SSL ERROR:%s",
                          "Unable to create a copy of certificate, possibly due to memory issue", codeAllocationFailed);
    }
    auto* object = new (std::nothrow) X509Certificate(copy.get(), true);
    if (object != nullptr) {
        static_cast<void>(copy.release());
    }
    return object;
}

void X509Certificate::releaseCertificate(X509** certificate) {
    if (certificate != nullptr) {
        X509_free(*certificate);
        *certificate = nullptr;
    }
}

void X509Certificate::readCertFromFile(const std::string& path) {
    constexpr const char* function = "X509Certificate::readCertFromFile";
    std::FILE* const file = openFile(path, "r");
    if (file == nullptr) {
        clogmsg(logFailure, function, "Failed to open certificate file [%s] for validation.", path.c_str());
        throw CmnException("Failed to open certificate file", codeOpenFailed);
    }
    // A private key may stand in the same file: the stream's own buffer would keep it.
    char buffer[4096];
    std::setvbuf(file, buffer, _IOFBF, sizeof buffer); // NOLINT(cert-err33-c): without it reading works as well
    OpenSslPtr<X509> certificate(PEM_read_X509(file, nullptr, refusePassPhrase, nullptr));
    const bool closed = std::fclose(file) == 0;
    OPENSSL_cleanse(buffer, sizeof buffer);
    if (!closed) {
        clogmsg(logFailure, function, "Failed to close certificate file [%s] after read.", path.c_str());
        throw CmnException("Failed to close certificate file after read", codeCloseFailed);
    }
    if (!certificate) {
        clogmsg(logFailure, function, "Failed to read x509 certificate from file [%s].", path.c_str());
        throw CmnException("Certificate does not comply to X509 standard or is not in PEM format.", codeNotX509);
    }
    m_certificate = certificate.release();
}

X509Name X509Certificate::getIssuer() const {
    return X509Name(X509_get_issuer_name(heldCertificate(m_certificate, "X509Certificate::getIssuer")));
}

X509Name X509Certificate::getSubject() const {
    return X509Name(X509_get_subject_name(heldCertificate(m_certificate, "X509Certificate::getSubject")));
}

std::string X509Certificate::getIssuerAsString(_name_format format) const {
    const X509* certificate = heldCertificate(m_certificate, "X509Certificate::getIssuerAsString");
    return nameText(X509_get_issuer_name(certificate), format);
}

std::string X509Certificate::getSubjectAsString(_name_format format) const {
    const X509* certificate = heldCertificate(m_certificate, "X509Certificate::getSubjectAsString");
    return nameText(X509_get_subject_name(certificate), format);
}

std::string X509Certificate::getSerialNumber() const {
    constexpr const char* function = "X509Certificate::getSerialNumber";
    const ossl::ErrorScope errors;
    const ASN1_INTEGER* serial = m_certificate == nullptr ? nullptr : X509_get0_serialNumber(m_certificate);
    if (serial == nullptr) {
        clogmsg(logFailure, function, "Failed to convert serial number to asn1 sequence");
        return {};
    }
    const OpenSslPtr<BIGNUM> number(ASN1_INTEGER_to_BN(serial, nullptr));
    if (!number) {
        clogmsg(logFailure, function, "Failed to convert serial number to BIGNUM");
        return {};
    }
    char* const hex = BN_bn2hex(number.get());
    if (hex == nullptr) {
        clogmsg(logFailure, function, "Failed to convert serial number to hex string");
        return {};
    }
    clogmsg(logInfo, function, "BN_bn2hex returned: %s", hex);
    std::string text;
    try {
        text = hex;
    } catch (const std::bad_alloc&) {
        clogmsg(logFailure, function, "Failed to convert serial number to hex string");
    }
    OPENSSL_free(hex);
    return text;
}

uint16_t X509Certificate::getKeySize() const {
    constexpr const char* function = "X509Certificate::getKeySize";
    const ossl::ErrorScope errors;
    const EVP_PKEY* key = X509_get0_pubkey(heldCertificate(m_certificate, function));
    if (key == nullptr) {
        clogmsg(logFailure, function, "Failed to get public key from certificate, with error %s",
                drainSslErrors().c_str());
        return 0;
    }
    return static_cast<uint16_t>(EVP_PKEY_get_bits(key));
}

std::string X509Certificate::generateHash(_HASH_ALGO algorithm) const {
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

void X509Certificate::validateAlgorithm() const {
    constexpr const char* function = "X509Certificate::validateAlgorithm";
    const ossl::ErrorScope errors;
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    if (!bio) {
        fail(function, "Failed to allocate BIO", codeAllocationFailed);
    }
    const X509_ALGOR* algorithm = nullptr;
    if (m_certificate != nullptr) {
        X509_get0_signature(nullptr, &algorithm, m_certificate);
    }
    if (algorithm == nullptr || X509_signature_print(bio.get(), algorithm, nullptr) < 1) {
        fail(function, "Failed to get the signature", codeSignatureRefused);
    }
    char text[51] = {};
    BIO_read(bio.get(), text, sizeof text - 1);
    if (std::strstr(text, "md5WithRSAEncryption") != nullptr) {
        fail(function, "Failed to validate the md5WithRSAEncryption sign algorithm",
             "Failed to validate the sign algorithm", codeSignatureRefused);
    }
}

std::string X509Certificate::getPemString() const {
    const ossl::ErrorScope errors;
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    if (!bio) {
        failPem("Failed to get Cert String from X509 Cert; BIO_new failed");
    }
    if (m_certificate == nullptr || PEM_write_bio_X509(bio.get(), m_certificate) != 1) {
        failPem("Failed to get Cert String from X509 Cert; unable to convert x509 to PEM");
    }
    BUF_MEM* memory = nullptr;
    BIO_get_mem_ptr(bio.get(), &memory);
    if (memory == nullptr || memory->length == 0) {
        failPem("Failed to get Cert String from X509 Cert; failed to read length from BIO");
    }
    std::string text;
    try {
        text.resize(memory->length);
    } catch (const std::bad_alloc&) {
        failPem("Failed to get Cert String from X509 Cert; failed to allocate memory");
    }
    size_t count = 0;
    if (BIO_read_ex(bio.get(), text.data(), text.size(), &count) != 1 || count != text.size()) {
        failPem("Failed to get Cert String from X509 Cert; failed to read BIO");
    }
    return text;
}

void X509Certificate::saveToFile(const std::string& path) const {
    constexpr const char* function = "X509Certificate::saveToFile";
    const ossl::ErrorScope errors;
    NewFile file(function, path, CmnException::noCode);
    file.write(m_certificate);
    file.finish();
    clogmsg(logInfo, function, "Successfully stored certificate at file path %s", path.c_str());
}

X509* X509Certificate::getX509() const noexcept {
    return m_certificate;
}

} // namespace CmnCrypto
