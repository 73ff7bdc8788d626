/** @file
 * The streaming cipher interface and the table of crypt types.
 */
#ifndef CMNCRYPTO_KSCRYPT_H
#define CMNCRYPTO_KSCRYPT_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "cmncrypto/export.h"

/** Stream crypters. */
namespace CmnCrypto::Encryption {

/**
 * A symmetric cipher over streams. An object encrypts one stream and decrypts another independently, each
 * direction like this:
 *
 * 1. optionally add authenticated data (AES_256_GCM only);
 * 2. call encrypt() (decrypt()) with consecutive pieces, the last one with @p final;
 * 3. take the output with getEncryptedData() (getDecryptedData()), after each call or after several: it
 *    collects until it is handed out;
 * 4. call encryptReset() (decryptReset()) for the next stream under the same key.
 *
 * Operations return 0 for success, 1223 for a direction that has failed (or fails to reset) and wants a reset (in
 * AES_256_GCM a failure stops both directions), 1224 for a refused call (data after the final one, authenticated
 * data where there is none, null data with a length) and for the very call in which OpenSSL fails. Nothing throws
 * after construction. Failures are logged at level 16, details at level 4.
 *
 * One thread at a time per object; separate objects are independent. Keys and decrypted data are wiped before
 * their memory is released.
 */
class CMNCRYPTO_API KSCrypt {
public:
    /** What a crypter does; the values are part of stored configurations. */
    enum CryptType : int32_t {
        CRYPT_INVALID = 0,   ///< no valid type
        CRYPT_NONE = 1,      ///< pass-through
        AES_256_CBC = 2,     ///< 32-byte key, random IV leading the stream
        AES_192_CBC = 3,     ///< 24-byte key, random IV leading the stream
        AES_128_CBC = 4,     ///< 16-byte key, random IV leading the stream
        AES_256_CBC_EVP = 5, ///< 32-byte key and 16-byte IV from the caller, nothing added to the stream
        AES_256_GCM = 6      ///< 32-byte key, random IV leading and tag trailing the stream
    };

    /**
     * Adds data that are authenticated, not encrypted; several calls count as one text.
     * @return 0; 1224 where the cipher has none (the default), the stream has begun or OpenSSL fails; 1223 while a
     *         failure is recorded
     */
    virtual int add_authenticated_data_encrypt(const unsigned char* data, size_t length);

    /**
     * Encrypts the next piece of the stream; pieces have any length, 0 included.
     * @param final closes the stream: padding or tag are added
     * @return 0, 1223, 1224
     */
    virtual int encrypt(const unsigned char* data, size_t length, bool final) = 0;

    /**
     * Hands out what was produced since the last time; a second call in a row gives nothing.
     * @param data receives a pointer into the crypter, valid until its next call in this direction
     * @param length receives the number of bytes, possibly 0
     * @return 0; 1223 (null and 0) while a failure is recorded; 1224 for null arguments
     */
    virtual int getEncryptedData(const unsigned char** data, size_t* length) = 0;

    /** As add_authenticated_data_encrypt(), for the stream to be decrypted: the same bytes in the same order. */
    virtual int add_authenticated_data_decrypt(const unsigned char* data, size_t length);

    /**
     * Decrypts the next piece of the stream; pieces have any length, 0 included.
     * @param final closes the stream: padding or tag are checked
     * @return 0, 1223, 1224; 1270 where authentication fails
     */
    virtual int decrypt(const unsigned char* data, size_t length, bool final) = 0;

    /** As getEncryptedData(). Without a tag (all but AES_256_GCM) the plaintext is not authenticated. */
    virtual int getDecryptedData(const unsigned char** data, size_t* length) = 0;

    /** Resets both directions, always both. @return 0, or 1223 when one failed */
    virtual int reset() = 0;

    /** Starts a new stream to encrypt, dropping output that was not taken. @return 0 or 1223 */
    virtual int encryptReset() = 0;

    /** Starts a new stream to decrypt, dropping output that was not taken. @return 0 or 1223 */
    virtual int decryptReset() = 0;

    virtual ~KSCrypt();

    /** @return the type's name ("AES_256_GCM"), "CRYPT_INVALID" for any other value; never throws */
    static std::string cryptTypeToString(CryptType type);

    /** @return the type of exactly that name (case counts), CRYPT_INVALID for any other text; never throws */
    static CryptType stringToCryptType(const std::string& name);

    /** @return the key length in bytes @throws CmnException 1200 for an invalid type */
    static size_t cryptTypeToKeyLen(CryptType type);

    /**
     * @return the length in bytes of the IV that the caller gives: 0 for AES_256_GCM, which makes its own
     * @throws CmnException 1200 for an invalid type
     */
    static size_t cryptTypeToIVLen(CryptType type);

    /** @return whether the type takes authenticated data @throws CmnException 1200 for an invalid type */
    static bool cryptTypeSupportsAAD(CryptType type);

protected:
    KSCrypt() = default;
    KSCrypt(const KSCrypt&) = default;
    KSCrypt& operator=(const KSCrypt&) = default;
};

} // namespace CmnCrypto::Encryption

#endif
