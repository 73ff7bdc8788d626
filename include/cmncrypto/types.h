/** @file
 * Plain C types that the flat functions take. They live at global scope; namespace CmnCrypto names the
 * same types, so that ::_HASH_ALGO and CmnCrypto::_HASH_ALGO are one.
 */
#ifndef CMNCRYPTO_TYPES_H
#define CMNCRYPTO_TYPES_H

#include <stddef.h>
#include <stdint.h>

#include "cmncrypto/export.h"

/** Message digests (FIPS 180-4; MD5: RFC 1321). 32-bit values that hosts may store. */
typedef enum _HASH_ALGO CMNCRYPTO_ENUM_BASE {
    HASH_ALGO_NONE = 0,   /**< no algorithm; refused, except where an operation says what it stands for */
    HASH_ALGO_SHA256 = 1, /**< SHA-256, 32 bytes */
    HASH_ALGO_SHA512 = 2, /**< SHA-512, 64 bytes */
    HASH_ALGO_SHA1 = 3,   /**< SHA-1, 20 bytes */
    HASH_ALGO_MD5 = 4     /**< MD5, 16 bytes; refused while FIPS mode is on, never a fingerprint */
} _HASH_ALGO;

/** One row of the table of digests: what a host needs to offer and to size them. */
typedef struct _HASH_ALGO_MAP_STRUCT {
    _HASH_ALGO algo;      /**< the digest */
    char name[64];        /**< its name as OpenSSL knows it, NUL-terminated ("SHA256") */
    int32_t digestLength; /**< its length in bytes */
} _HASH_ALGO_MAP_STRUCT;

/** Text form of a random number. */
typedef enum _BIGNUM_CONVERSION CMNCRYPTO_ENUM_BASE {
    BIGNUM_TO_HEX = 0, /**< lower-case hexadecimal, two digits per byte */
    BIGNUM_TO_DEC = 1  /**< decimal, the bytes read as one big-endian unsigned integer */
} _BIGNUM_CONVERSION;

/** Whose revocation is checked. */
typedef enum crl_check_level CMNCRYPTO_ENUM_BASE {
    CRL_CHECK_DISABLED = 0, /**< nobody's; refused where a level is asked for */
    CRL_CHECK_LEAF = 1,     /**< the leaf certificate's */
    CRL_CHECK_CHAIN = 2     /**< that of every certificate of the chain */
} crl_check_level;

/**
 * A library object in the hands of a host that has no classes. The host owns the record, the library the
 * object: start with {0, NULL}, fill it with CmnCrypto_init_hasher(), empty it with CmnCrypto_release_Obj().
 */
typedef struct CmnCryptoHandle {
    int32_t kind; /**< 0 empty, 1 hash generator, 2 another object, held as CmnCrypto::LibraryObject* */
    void* object; /**< the object, never to be touched by the host */
} CmnCryptoHandle;

/**
 * Receives the messages of clogmsg(): @p level is 16 (failure), 8 (warning), 4 (trace) or 2 (information),
 * @p function names the reporting function. Both texts are valid during the call only. Called on the
 * thread that logs, so concurrently when the host uses the library from several threads. It must not throw.
 * @return handed back to the caller of clogmsg()
 */
typedef int (*cmncrypto_log_cb)(int level, const char* message, const char* function);

/** Receives the messages of clogmsgv(); as cmncrypto_log_cb with a second number, @p detail. */
typedef int (*cmncrypto_log_detail_cb)(int level, int detail, const char* message, const char* function);

/** Receives a failure of certificate code; both texts are valid during the call only. It must not throw. */
typedef void (*cmncrypto_cert_log_cb)(const char* function, const char* message);

/** One attribute of a subject, in a list that belongs to the caller. */
typedef struct subTokenValuePair {
    const char* token;              /**< the attribute as OpenSSL knows it: "CN", "OU", "O" */
    const char* value;              /**< its value in ISO 8859-1 */
    struct subTokenValuePair* next; /**< the next attribute, null at the end */
} subTokenValuePair;

/** The files from which a TLS server is set up: CmnCrypto::TLSOperations::tlsInitMaster(). Null counts as empty. */
typedef struct CertInfoPath {
    const char* caCertPath;     /**< certificates of trusted authorities, PEM */
    const char* certChainPath;  /**< the server's certificate and those above it, PEM; or a path into a store */
    const char* privateKeyPath; /**< the certificate's private key, PEM */
    const char* passPhrasePath; /**< its first line opens the key; empty for none */
} CertInfoPath;

#ifdef __cplusplus
/** The common cryptography library: digests, random numbers, encrypted streams, certificates, revocation. */
namespace CmnCrypto {
using ::_BIGNUM_CONVERSION;
using ::_HASH_ALGO;
using ::_HASH_ALGO_MAP_STRUCT;
using ::BIGNUM_TO_DEC;
using ::BIGNUM_TO_HEX;
using ::CertInfoPath;
using ::cmncrypto_cert_log_cb;
using ::cmncrypto_log_cb;
using ::cmncrypto_log_detail_cb;
using ::CmnCryptoHandle;
using ::CRL_CHECK_CHAIN;
using ::CRL_CHECK_DISABLED;
using ::CRL_CHECK_LEAF;
using ::crl_check_level;
using ::HASH_ALGO_MD5;
using ::HASH_ALGO_NONE;
using ::HASH_ALGO_SHA1;
using ::HASH_ALGO_SHA256;
using ::HASH_ALGO_SHA512;
using ::subTokenValuePair;
} // namespace CmnCrypto
#endif

#endif
