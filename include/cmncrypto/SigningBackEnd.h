/** @file
 * How a private key signs that never leaves its store.
 */
#ifndef CMNCRYPTO_SIGNINGBACKEND_H
#define CMNCRYPTO_SIGNINGBACKEND_H

#include <cstdint>

#include "cmncrypto/export.h"

namespace CmnCrypto::WinCertStore {

/** CERT_NCRYPT_KEY_SPEC: the handle is a CNG key; any other key specification goes with a CryptoAPI provider. */
constexpr uint32_t ncryptKeySpec = 0xFFFFFFFF;

/**
 * The platform's signing calls for both kinds of key handles, CNG and CryptoAPI. Results are Windows error numbers, 0
 * for success. Implementations do not throw, and a handle may be used by several threads at once: all connections of
 * a context sign with the same one.
 */
class CMNCRYPTO_API SigningBackEnd {
public:
    SigningBackEnd() = default;
    SigningBackEnd(const SigningBackEnd&) = delete;
    SigningBackEnd& operator=(const SigningBackEnd&) = delete;
    virtual ~SigningBackEnd();

    /**
     * Signs with a CNG key.
     * @param pkcs1 pad by PKCS#1 v1.5 (RFC 8017, 9.2) what is taken for a DigestInfo; false: use the bytes as they are
     * @param size bytes in @p signature
     * @param produced receives the length of the signature
     */
    virtual uint32_t signCng(uintptr_t key, bool pkcs1, const unsigned char* data, uint32_t length,
                             unsigned char* signature, uint32_t size, uint32_t& produced) = 0;
    virtual void freeCngKey(uintptr_t key) = 0; ///< releases a CNG key

    /** Makes a CryptoAPI hash object for the 36 bytes of MD5 and SHA-1 that TLS below 1.2 signs. */
    virtual uint32_t createHash(uintptr_t provider, uintptr_t& hash) = 0;
    virtual uint32_t hashSize(uintptr_t hash, uint32_t& size) = 0; ///< @param size receives the digest's bytes
    virtual uint32_t setHashValue(uintptr_t hash, const unsigned char* value) = 0; ///< @param value hashSize() bytes
    /** Signs the value of a hash object. @param length size of @p signature, then its bytes, least significant first */
    virtual uint32_t signHash(uintptr_t hash, uint32_t keySpec, unsigned char* signature, uint32_t& length) = 0;
    virtual void destroyHash(uintptr_t hash) = 0;         ///< releases a hash object
    virtual void releaseProvider(uintptr_t provider) = 0; ///< releases a CryptoAPI provider
};

} // namespace CmnCrypto::WinCertStore

#endif
