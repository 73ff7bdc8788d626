#include "x509/SignatureVerifier.h"

#include <algorithm>
#include <vector>

#include "cmncrypto/CmnApi.h"
#include "frame/Failure.h"
#include "frame/HashAlgorithmTable.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto {

namespace {

constexpr const char* verifierTag = "X509PublicKey::verifySign";

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
    clogmsg(logFailure, verifierTag, "%s%lu", logText, ERR_get_error());
    throw CmnException(text);
}

} // namespace

bool SignatureVerifier::verify(const std::string& data, const unsigned char* signature, int length,
                               _HASH_ALGO algorithm, void (*reportFailure)()) {
    const size_t size = length > 0 ? static_cast<size_t>(length) : 0; // none, or no Base64: a signature that is wrong
    const std::vector<_HASH_ALGO> digests = candidates(algorithm);
    return std::any_of(digests.begin(), digests.end(), [&](_HASH_ALGO digest) {
        const bool genuine = isSignedWith(digest, data, signature, size);
        if (!genuine) {
            reportFailure();
            ossl::clearErrors();
        }
        return genuine;
    });
}

bool SignatureVerifier::isSignedWith(_HASH_ALGO algorithm, const std::string& data, const unsigned char* signature,
                                     size_t length) {
    const _HASH_ALGO_MAP_STRUCT* const row = hashAlgorithmRow(algorithm);
    clogmsg(logTrace, verifierTag, "Checking for Hash [%s]", row == nullptr ? "" : row->name);
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
    const bool genuine = finish(context.get(), algorithm, signature, length);
    if (genuine) {
        clogmsg(logInfo, verifierTag, "Verified the Hash");
    }
    return genuine;
}

/** What EVP_VerifyFinal() does, with the kept context. */
bool SignatureVerifier::finish(EVP_MD_CTX* data, _HASH_ALGO algorithm, const unsigned char* signature, size_t length) {
    unsigned char value[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    return signature != nullptr && length > 0 && EVP_DigestFinal_ex(data, value, &size) == 1 && prepare(algorithm) &&
           EVP_PKEY_verify(m_context.get(), signature, length, value, size) == 1;
}

/** Brings the kept context up to date. @return false when the key is of no use for signatures of this digest */
bool SignatureVerifier::prepare(_HASH_ALGO algorithm) {
    const std::uint64_t generation = ossl::algorithmGeneration();
    if (!m_context || m_generation != generation) {
        m_context.reset(m_key == nullptr ? nullptr : EVP_PKEY_CTX_new_from_pkey(nullptr, m_key, nullptr));
        m_generation = generation;
        m_digest = HASH_ALGO_NONE;
        if (!m_context || EVP_PKEY_verify_init(m_context.get()) != 1) {
            m_context.reset();
            return false;
        }
    }
    if (m_digest != algorithm) {
        m_digest = HASH_ALGO_NONE;
        if (EVP_PKEY_CTX_set_signature_md(m_context.get(), hashAlgorithmDigest(algorithm)) != 1) {
            return false;
        }
        m_digest = algorithm;
    }
    return true;
}

} // namespace CmnCrypto
