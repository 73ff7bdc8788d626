// clang-format off: it must come before any other OpenSSL header
#include "ossl/DeprecatedRsa.h"
// clang-format on

#include <climits>
#include <cstdlib>
#include <memory>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/X509PublicKey.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"
#include "x509/PassPhrase.h"
#include "x509/SignatureVerifier.h"

namespace CmnCrypto {

namespace {

constexpr const char* loadTag = "X509PublicKey::getEVPPublicKey";
constexpr const char* requestTag = "X509PublicKey::extractPublicKeyFromCSR";
constexpr const char* verifyCertTag = "X509PublicKey::verifyCert";
constexpr const char* signatureTag = "X509PublicKey::verifySign";

struct FreeBytes {
    void operator()(unsigned char* memory) const noexcept { std::free(memory); }
};

} // namespace

X509PublicKey::X509PublicKey() = default;

X509PublicKey::X509PublicKey(const std::string& pem) : m_owns(true) {
    CmnApi::initOpenssl();
    getEVPPublicKey(pem);
}

X509PublicKey::X509PublicKey(EVP_PKEY* key, bool owns) : m_key(key), m_owns(owns) {}

X509PublicKey::X509PublicKey(const X509PublicKey& other) : LibraryObject(other) {}

// NOLINTNEXTLINE(misc-unconventional-assign-operator): an empty object comes back, as callers expect
X509PublicKey X509PublicKey::operator=(const X509PublicKey& other) {
    return X509PublicKey(other);
}

X509PublicKey::~X509PublicKey() {
    if (m_owns) {
        EVP_PKEY_free(m_key);
    }
}

int X509PublicKey::operator==(const X509PublicKey& other) const {
    const ossl::ErrorScope errors;
    return EVP_PKEY_eq(m_key, other.m_key);
}

void X509PublicKey::getEVPPublicKey(const std::string& pem) {
    const ossl::ErrorScope errors;
    const OpenSslPtr<BIO> bio(BIO_new_mem_buf(pem.c_str(), -1));
    if (!bio) {
        fail(loadTag, "Could not allocate memory", CmnException::noCode);
    }
    const OpenSslPtr<RSA> rsa(PEM_read_bio_RSA_PUBKEY(bio.get(), nullptr, refusePassPhrase, nullptr));
    if (!rsa) {
        fail(loadTag, "Could not read public key", CmnException::noCode);
    }
    clogmsg(logInfo, loadTag, "Create evp obj to hold our rsakey ");
    OpenSslPtr<EVP_PKEY> key(EVP_PKEY_new());
    if (!key) {
        fail(loadTag, "Could not create EVP object", CmnException::noCode);
    }
    if (EVP_PKEY_set1_RSA(key.get(), rsa.get()) != 1) {
        fail(loadTag, "Could not assign RSA key to EVP object", CmnException::noCode);
    }
    m_key = key.release();
}

X509PublicKey* X509PublicKey::extractPublicKeyFromCSR(const std::string& csrPem) {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    const OpenSslPtr<BIO> bio(BIO_new_mem_buf(csrPem.c_str(), -1));
    const OpenSslPtr<X509_REQ> request(bio ? PEM_read_bio_X509_REQ(bio.get(), nullptr, refusePassPhrase, nullptr)
                                           : nullptr);
    if (!request) {
        fail(requestTag, "Could not read certificate request", CmnException::noCode);
    }
    OpenSslPtr<EVP_PKEY> key(X509_REQ_get_pubkey(request.get()));
    if (!key) {
        fail(requestTag, "Could not read public key from certificate request", CmnException::noCode);
    }
    clogmsg(logInfo, requestTag, "Extracted publickey");
    auto object = std::make_unique<X509PublicKey>(key.get(), true);
    static_cast<void>(key.release());
    return object.release();
}

bool X509PublicKey::verifyCert(const std::string& certPem) const {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    if (!bio) {
        clogmsg(logFailure, verifyCertTag, "Failed to allocate BIO");
        return false;
    }
    const OpenSslPtr<X509> certificate(certPem.size() <= INT_MAX && BIO_puts(bio.get(), certPem.c_str()) >= 0
                                           ? PEM_read_bio_X509(bio.get(), nullptr, refusePassPhrase, nullptr)
                                           : nullptr);
    const EVP_PKEY* const key = certificate ? X509_get0_pubkey(certificate.get()) : nullptr;
    if (key == nullptr) {
        clogmsg(logFailure, verifyCertTag,
                certificate ? "Could not read public key from certificate, with error %s"
                            : "Could not read certificate, with error %s",
                drainSslErrors().c_str());
        return false;
    }
    if (m_key == nullptr) {
        clogmsg(logFailure, verifyCertTag, "Public key is NULL.");
        return false;
    }
    return EVP_PKEY_eq(m_key, key) == 1;
}

bool X509PublicKey::verifySign(const std::string& data, const std::string& signature, _HASH_ALGO algorithm) const {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    unsigned char* decoded = nullptr;
    int length = 0;
    CmnApi::B64Decode(signature, decoded, length);
    const std::unique_ptr<unsigned char, FreeBytes> owner(decoded);
    return verifier().verify(data, decoded, length, algorithm, [] {
        clogmsg(logFailure, signatureTag, "Failed to verify signature. SSL code = %lu", ERR_get_error());
    });
}

bool X509PublicKey::verifySign(const std::string& data, unsigned char* signature, int& length,
                               _HASH_ALGO algorithm) const {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    return verifier().verify(data, signature, length, algorithm, [] {
        clogmsg(logFailure, signatureTag, "digest/hash verification failed. SSL Error : %s", drainSslErrors().c_str());
    });
}

SignatureVerifier& X509PublicKey::verifier() const {
    if (!m_verifier) {
        m_verifier = std::make_unique<SignatureVerifier>(m_key);
    }
    return *m_verifier;
}

EVP_PKEY* X509PublicKey::getEVPKey() const noexcept {
    return m_key;
}

} // namespace CmnCrypto
