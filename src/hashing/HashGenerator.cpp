#include "cmncrypto/HashGenerator.h"

#include <algorithm>

#include "cmncrypto/CmnApi.h"
#include "frame/Failure.h"
#include "frame/NumberText.h"
#include "ossl/Algorithms.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto {

namespace {

constexpr const char* constructorTag = "HashGenerator::HashGenerator";
constexpr const char* addDataTag = "HashGenerator::addData";
constexpr const char* generateTag = "HashGenerator::generateBinaryHash";

// Large inputs never reach OpenSSL as one huge length.
constexpr size_t pieceSize = 2048;

/** A finished digest, not yet in the form that was asked for. */
struct DigestBytes {
    unsigned char bytes[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
};

/** The digest of an algorithm value, refusing unknown ones and MD5 in FIPS mode. */
ossl::Digest chooseDigest(_HASH_ALGO algorithm) {
    switch (algorithm) {
    case HASH_ALGO_SHA256:
        return ossl::Digest::sha256;
    case HASH_ALGO_SHA512:
        return ossl::Digest::sha512;
    case HASH_ALGO_SHA1:
        return ossl::Digest::sha1;
    case HASH_ALGO_MD5:
        if (CmnApi::getFIPSMode() != 0) {
            fail(constructorTag, "Hashing algorithm not supported in FIPS mode.",
                 "MD5 hashing algorithm not supported in FIPS mode", codeFipsRefused);
        }
        return ossl::Digest::md5;
    default:
        fail(constructorTag, "Invalid hashing algorithm.", "Invalid hashing algorithm", codeCryptoFailed);
    }
}

void begin(EVP_MD_CTX* context, _HASH_ALGO algorithm) {
    if (context == nullptr) {
        failDetailedWithSslErrors(constructorTag, "EVP_MD_CTX_create Failed.! with error %s",
                                  "EVP_MD_CTX_create failed", codeCryptoFailed);
    }
    const EVP_MD* digest = ossl::digest(chooseDigest(algorithm));
    if (digest == nullptr || EVP_DigestInit_ex(context, digest, nullptr) != 1) {
        failWithSslErrors(constructorTag, "EVP_DigestInit_ex() Failed.! with error %s", "EVP_DigestInit_ex() failed",
                          codeCryptoFailed);
    }
}

void feed(EVP_MD_CTX* context, const void* data, size_t length) {
    const auto* next = static_cast<const unsigned char*>(data);
    while (length > 0) {
        const size_t piece = std::min(length, pieceSize);
        if (next == nullptr || EVP_DigestUpdate(context, next, piece) != 1) {
            failWithSslErrors(addDataTag, "EVP_DigestUpdate() Failed.! with error %s", "EVP_DigestUpdate() failed",
                              codeCryptoFailed);
        }
        next += piece;
        length -= piece;
    }
}

void finish(EVP_MD_CTX* context, DigestBytes& digest) {
    if (EVP_DigestFinal_ex(context, digest.bytes, &digest.length) != 1) {
        failWithSslErrors(generateTag, "EVP_DigestFinal_ex() Failed.! with error %s", "EVP_DigestFinal_ex() failed",
                          codeCryptoFailed);
    }
}

/** The last act of an object: whatever comes of it, its context is gone afterwards. */
template <class Out> DigestBytes finishOwned(OpenSslPtr<EVP_MD_CTX>& owned, Out& out) {
    if (!owned) {
        // The update step's text: all operations on a finished object share one message.
        fail(generateTag, "EVP_MD_CTX is NULL", "EVP_DigestUpdate() failed", codeCryptoFailed);
    }
    ossl::clearErrors();
    out.clear();
    const OpenSslPtr<EVP_MD_CTX> context = std::move(owned);
    DigestBytes digest;
    finish(context.get(), digest);
    ossl::clearErrors();
    return digest;
}

/** What the one-call functions share: the whole life of a digest, in a context that the thread keeps. */
bool digestOf(const char* function, const char* data, size_t length, _HASH_ALGO algorithm, DigestBytes& digest) {
    if (data == nullptr && length != 0) {
        clogmsg(logFailure, function, "Invalid input data.");
        return false;
    }
    ossl::clearErrors();
    OpenSslPtr<EVP_MD_CTX> unkept;
    EVP_MD_CTX* context = ossl::scratchDigestContext(unkept);
    try {
        begin(context, algorithm);
        feed(context, data, length);
        finish(context, digest);
    } catch (...) {
        EVP_MD_CTX_reset(context); // what was fed must not stay behind
        throw;
    }
    return true;
}

} // namespace

HashGenerator::HashGenerator(_HASH_ALGO algorithm) : m_algorithm(algorithm) {
    ossl::clearErrors();
    m_context.reset(EVP_MD_CTX_create());
    begin(m_context.get(), algorithm);
}

HashGenerator::~HashGenerator() = default;

void HashGenerator::addData(const void* data, size_t length) {
    if (!m_context) {
        fail(addDataTag, "EVP_MD_CTX is NULL", "EVP_DigestUpdate() failed", codeCryptoFailed);
    }
    ossl::clearErrors();
    try {
        feed(m_context.get(), data, length);
    } catch (...) {
        m_context.reset();
        throw;
    }
}

void HashGenerator::generateBinaryHash(std::string& out) {
    const DigestBytes digest = finishOwned(m_context, out);
    out.assign(reinterpret_cast<const char*>(digest.bytes), digest.length);
}

void HashGenerator::generateBinaryHash(std::vector<unsigned char>& out) {
    const DigestBytes digest = finishOwned(m_context, out);
    out.assign(digest.bytes, digest.bytes + digest.length);
}

void HashGenerator::generateHexHash(std::string& out) {
    std::string bytes;
    generateBinaryHash(bytes);
    out = CmnApi::binToHex(bytes);
}

int HashGenerator::hashContextCopy(HashGenerator* target) {
    constexpr const char* function = "HashGenerator::hashContextCopy";
    if (target != nullptr && target->m_algorithm != m_algorithm) {
        clogmsgv(logFailure, 4, function, "EVP_MD_CTX_copy_ex Failed.! Algorithm type mismatch.");
        return 0;
    }
    if (target == this && m_context) {
        return 1;
    }
    ossl::clearErrors();
    // A failed copy destroys what it was to replace: the target gets a context of its own that worked.
    OpenSslPtr<EVP_MD_CTX> copy(EVP_MD_CTX_create());
    if (target == nullptr || !m_context || !target->m_context || !copy ||
        EVP_MD_CTX_copy_ex(copy.get(), m_context.get()) != 1) {
        clogmsgv(logFailure, 4, function, "EVP_MD_CTX_copy_ex Failed.! with error %s", drainSslErrors().c_str());
        return 0;
    }
    target->m_context = std::move(copy);
    return 1;
}

void HashGenerator::freeHashMemory() {
    m_context.reset();
}

bool HashGenerator::generateBinaryHashForStr(const char* data, size_t length, _HASH_ALGO algorithm, std::string& out) {
    DigestBytes digest;
    if (!digestOf("HashGenerator::generateBinaryHashForStr", data, length, algorithm, digest)) {
        return false;
    }
    out.assign(reinterpret_cast<const char*>(digest.bytes), digest.length);
    return true;
}

bool HashGenerator::generateHexHashForStr(const char* data, size_t length, _HASH_ALGO algorithm, std::string& out) {
    DigestBytes digest;
    if (!digestOf("HashGenerator::generateHexHashForStr", data, length, algorithm, digest)) {
        return false;
    }
    toHex(digest.bytes, digest.length, out);
    return true;
}

bool HashGenerator::generateHexHashForStr(const std::string& data, _HASH_ALGO algorithm, std::string& out) {
    return generateHexHashForStr(data.data(), data.size(), algorithm, out);
}

} // namespace CmnCrypto
