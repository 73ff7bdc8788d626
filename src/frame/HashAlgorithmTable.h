#ifndef CMNCRYPTO_FRAME_HASHALGORITHMTABLE_H
#define CMNCRYPTO_FRAME_HASHALGORITHMTABLE_H

#include <openssl/types.h>

#include "cmncrypto/types.h"

namespace CmnCrypto {

/**
 * The row of a digest that may be a fingerprint: its name for OpenSSL and its length.
 * @return borrowed for good; null for MD5 and any value that is no digest
 */
const _HASH_ALGO_MAP_STRUCT* hashAlgorithmRow(_HASH_ALGO algorithm) noexcept;

/**
 * The digest of a row: what EVP_get_digestbyname() leads to, kept once fetched.
 * @return borrowed as ossl::digest() says; null for an algorithm without a row, or one that no provider has
 */
const EVP_MD* hashAlgorithmDigest(_HASH_ALGO algorithm) noexcept;

} // namespace CmnCrypto

#endif
