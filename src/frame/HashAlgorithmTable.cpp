#include "frame/HashAlgorithmTable.h"

#include <iterator>

#include "ossl/Algorithms.h"

namespace CmnCrypto {

namespace {

// Indexed by the algorithm's value. MD5 has no row on purpose: it is never a fingerprint.
constexpr _HASH_ALGO_MAP_STRUCT rows[] = {
    {HASH_ALGO_NONE, "", 0},
    {HASH_ALGO_SHA256, "SHA256", 32},
    {HASH_ALGO_SHA512, "SHA512", 64},
    {HASH_ALGO_SHA1, "SHA1", 20},
};

} // namespace

const _HASH_ALGO_MAP_STRUCT* hashAlgorithmRow(_HASH_ALGO algorithm) noexcept {
    const auto index = static_cast<int64_t>(algorithm);
    return index > 0 && index < static_cast<int64_t>(std::size(rows)) ? &rows[index] : nullptr;
}

const EVP_MD* hashAlgorithmDigest(_HASH_ALGO algorithm) noexcept {
    switch (algorithm) {
    case HASH_ALGO_SHA256:
        return ossl::digest(ossl::Digest::sha256);
    case HASH_ALGO_SHA512:
        return ossl::digest(ossl::Digest::sha512);
    case HASH_ALGO_SHA1:
        return ossl::digest(ossl::Digest::sha1);
    default:
        return nullptr;
    }
}

} // namespace CmnCrypto
