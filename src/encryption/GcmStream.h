#ifndef CMNCRYPTO_ENCRYPTION_GCMSTREAM_H
#define CMNCRYPTO_ENCRYPTION_GCMSTREAM_H

#include <cstddef>

#include "ossl/OpenSsl.h"

namespace CmnCrypto::Encryption {

/** The layout of a GCM stream: IV, ciphertext as long as the plaintext, tag. */
constexpr size_t gcmIvLength = 12;
constexpr size_t GCM_TAG_LEN = 16;

// OpenSSL counts in int: what is longer goes in several calls.
constexpr size_t gcmLargestPiece = size_t{1} << 30;

/** EVP_EncryptUpdate or EVP_DecryptUpdate. */
using GcmUpdate = int (*)(EVP_CIPHER_CTX*, unsigned char*, int*, const unsigned char*, int);

/** Feeds authenticated data of any length, none included. @return false when OpenSSL fails */
bool feedAuthenticatedData(GcmUpdate update, EVP_CIPHER_CTX* context, const unsigned char* data, size_t length);

} // namespace CmnCrypto::Encryption

#endif
