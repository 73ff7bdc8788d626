/** @file
 * AES-CBC with the IV in the stream (NIST SP 800-38A).
 */
#ifndef CMNCRYPTO_MANGLECRYPTER_H
#define CMNCRYPTO_MANGLECRYPTER_H

#include <memory>
#include <string>

#include "cmncrypto/KSCrypt.h"
#include "cmncrypto/export.h"

namespace CmnCrypto::Encryption {

/**
 * AES in CBC mode with PKCS#7 padding under a fresh random IV for every stream:
 *
 *     | IV, 16 bytes | ciphertext, the plaintext padded to a multiple of 16 (at least 16 bytes) |
 *
 * The stream is not authenticated: altered bytes may decrypt to altered plaintext.
 */
class CMNCRYPTO_API MangleCrypter final : public KSCrypt {
public:
    /**
     * @param cipherType 1 AES-128, 2 AES-192, 3 AES-256
     * @param key 16, 24 or 32 raw bytes; copied, and wiped with the object
     * @throws CmnException 1223 for another cipher type, a wrong key length or a failure of OpenSSL
     */
    MangleCrypter(int cipherType, const std::string& key);
    ~MangleCrypter() override;
    MangleCrypter(const MangleCrypter&) = delete;
    MangleCrypter& operator=(const MangleCrypter&) = delete;

    int encrypt(const unsigned char* data, size_t length, bool final) override;
    int getEncryptedData(const unsigned char** data, size_t* length) override;
    int decrypt(const unsigned char* data, size_t length, bool final) override;
    int getDecryptedData(const unsigned char** data, size_t* length) override;
    int reset() override;
    int encryptReset() override;
    int decryptReset() override;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace CmnCrypto::Encryption

#endif
