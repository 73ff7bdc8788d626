#ifndef CMNCRYPTO_FRAME_HASHALGORITHMTABLE_H
#define CMNCRYPTO_FRAME_HASHALGORITHMTABLE_H

#include "cmncrypto/types.h"

namespace CmnCrypto {

/**
 * The row of a digest that may be a fingerprint: its name for OpenSSL and its length.
 * @return borrowed for good; null for MD5 and any value that is no digest
 */
const _HASH_ALGO_MAP_STRUCT* hashAlgorithmRow(_HASH_ALGO algorithm) noexcept;

} // namespace CmnCrypto

#endif
