// clang-format off: it must come before any other OpenSSL header
#include "ossl/DeprecatedRsa.h"
// clang-format on

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/X509PublicKey.h"
#include "frame/Failure.h"
#include "frame/HashAlgorithmTable.h"
#include "ossl/ErrorQueue.h"
#include "ossl/PerThread.h"
#include "x509/PassPhrase.h"

namespace CmnCrypto {

namespace {

constexpr const char* loadTag = "X509PublicKey::getEVPPublicKey";
constexpr const char* requestTag = "X509PublicKey::extractPublicKeyFromCSR";
constexpr const char* certificateTag = "X509PublicKey::verifyCert";
constexpr const char* signatureTag = "X509PublicKey::verifySign";

/** The digests that may have made a signature. */
std::vector<_HASH_ALGO> candidates(_HASH_ALGO algorithm) {
    if (algorithm != HASH_ALGO_NONE) {
        return {algorithm};
    }
    std::vector<_HASH_ALGO> offered;
    for (const _HASH_ALGO_MAP_STRUCT& row : CmnApi::getValidHashAlgoList()) {
        offered.push_back(row.algo);
    }
    return offered;
}

/** Logs @p logText, which ends where OpenSSL's error code follows, and throws @p text. */
[[noreturn]] void failSetUp(const char* logText, const char* text) {
    clogmsg(logFailure, signatureTag, "%s%lu", logText, ERR_get_error());
    throw CmnException(text);
}

/** @return a context that verifies signatures of @p key, the kept one where it is up to date; null without a key */
EVP_PKEY_CTX* verifierOf(EVP_PKEY* key, OpenSslPtr<EVP_PKEY_CTX>& kept, uint64_t& generation) {
    const uint64_t current = ossl::algorithmGeneration();
    if (key != nullptr && (!kept || generation != current)) {
        kept.reset(EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr));
        generation = current;
        if (kept && EVP_PKEY_verify_init(kept.get()) != 1) {
            kept.reset();
        }
    }
    return kept.get();
}

/**
 * The final check of EVP_VerifyFinal(), with a context that is kept: setting one up costs a tenth of a verification.
 */
bool isGenuine(EVP_MD_CTX* data, const EVP_MD* digest, const unsigned char* signature, size_t length,
               EVP_PKEY_CTX* verifier) {
    unsigned char value[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    return EVP_DigestFinal_ex(data, value, &size) == 1 && verifier != nullptr && signature != nullptr && length > 0 &&
           EVP_PKEY_CTX_set_signature_md(verifier, digest) == 1 &&
           EVP_PKEY_verify(verifier, signature, length, value, size) == 1;
}

/** @return whether this digest has made the signature */
bool isSignedWith(_HASH_ALGO algorithm, const std::string& data, const unsigned char* signature, size_t length,
                  EVP_PKEY_CTX* verifier) {
    const _HASH_ALGO_MAP_STRUCT* const row = hashAlgorithmRow(algorithm);
    clogmsg(logTrace, signatureTag, "Checking for Hash [%s]", row == nullptr ? "" : row->name);
    const OpenSslPtr<EVP_MD_CTX> context(EVP_MD_CTX_create());
    if (!context) {
        failSetUp("Failed to create context for verification of signature. SSL code = ",
                  "Failed to create context for verification of signature.");
    }
    const EVP_MD* const digest = hashAlgorithmDigest(algorithm);
    if (digest == nullptr || EVP_VerifyInit(context.get(), digest) != 1) {
        failSetUp("Failed to initialize signature. SSL code = ", "Failed to initialize signature.");
    }
    if (EVP_VerifyUpdate(context.get(), data.data(), data.size()) != 1) {
        failSetUp("Failed to update signature. SSL code = ", "Failed to update signature.");
    }
    const bool genuine = isGenuine(context.get(), digest, signature, length, verifier);
    if (genuine) {
        clogmsg(logInfo, signatureTag, "Verified the Hash");
    }
    return genuine;
}

/** Tries each digest that may have made a signature; @p report tells of one that has not. */
template <class Report>
bool isSigned(_HASH_ALGO algorithm, const std::string& data, const unsigned char* signature, int length,
              EVP_PKEY_CTX* verifier, Report report) {
    const size_t size = length > 0 ? static_cast<size_t>(length) : 0; // none, or no Base64: a signature that is wrong
    const std::vector<_HASH_ALGO> digests = candidates(algorithm);
    return std::any_of(digests.begin(), digests.end(), [&](_HASH_ALGO digest) {
        const bool genuine = isSignedWith(digest, data, signature, size, verifier);
        if (!genuine) {
            report();
        }
        return genuine;
    });
}

struct Free {
    void operator()(unsigned char* memory) const noexcept { std::free(memory); }
};

} // namespace

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
        clogmsg(logFailure, certificateTag, "Failed to allocate BIO");
        return false;
    }
    BIO_puts(bio.get(), certPem.c_str());
    const OpenSslPtr<X509> certificate(PEM_read_bio_X509(bio.get(), nullptr, refusePassPhrase, nullptr));
    const EVP_PKEY* const key = certificate ? X509_get0_pubkey(certificate.get()) : nullptr;
    if (key == nullptr) {
        clogmsg(logFailure, certificateTag,
                certificate ? "Could not read public key from certificate, with error %s"
                            : "Could not read certificate, with error %s",
                drainSslErrors().c_str());
        return false;
    }
    return m_key != nullptr && EVP_PKEY_eq(m_key, key) == 1;
}

bool X509PublicKey::verifySign(const std::string& data, const std::string& signature, _HASH_ALGO algorithm) const {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    unsigned char* decoded = nullptr;
    int length = 0;
    CmnApi::B64Decode(signature, decoded, length);
    const std::unique_ptr<unsigned char, Free> owner(decoded);
    EVP_PKEY_CTX* const verifier = verifierOf(m_key, m_verifier, m_generation);
    return isSigned(algorithm, data, decoded, length, verifier, [] {
        clogmsg(logFailure, signatureTag, "Failed to verify signature. SSL code = %lu", ERR_get_error());
        ossl::clearErrors();
    });
}

bool X509PublicKey::verifySign(const std::string& data, unsigned char* signature, int& length,
                               _HASH_ALGO algorithm) const {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    EVP_PKEY_CTX* const verifier = verifierOf(m_key, m_verifier, m_generation);
    return isSigned(algorithm, data, signature, length, verifier, [] {
        clogmsg(logFailure, signatureTag, "digest/hash verification failed. SSL Error : %s", drainSslErrors().c_str());
    });
}

EVP_PKEY* X509PublicKey::getEVPKey() const noexcept {
    return m_key;
}

} // namespace CmnCrypto
