/** @file
 * AES-256-GCM with IV and tag in the stream (NIST SP 800-38D).
 */
#ifndef CMNCRYPTO_GCMCRYPTER_H
#define CMNCRYPTO_GCMCRYPTER_H

#include <memory>
#include <string>

#include "cmncrypto/KSCrypt.h"
#include "cmncrypto/export.h"

namespace CmnCrypto::Encryption {

/**
 * AES-256 in GCM mode under a fresh random IV for every stream:
 *
 *     | IV, 12 bytes | ciphertext, as long as the plaintext | tag, 16 bytes |
 *
 * Authenticated data are not part of the stream; both sides supply the same. Encryption hands out its output as
 * it goes. Decryption collects the stream in memory and hands out nothing before the final call has checked the
 * tag: what getDecryptedData() gives is authentic. A stream that fails the check is wiped and answers 1270; one
 * shorter than 28 bytes answers 1224. A stream holds at most 2^36 - 32 bytes of plaintext.
 *
 * A recorded failure belongs to the object: it stops both directions with 1223 until one is reset.
 */
class CMNCRYPTO_API GCMCrypter final : public KSCrypt {
public:
    /**
     * @param key 32 raw bytes; copied, and wiped with the object
     * @throws CmnException 1223 for a wrong key length or when OpenSSL has no AES-256-GCM
     */
    explicit GCMCrypter(const std::string& key);
    ~GCMCrypter() override;
    GCMCrypter(const GCMCrypter&) = delete;
    GCMCrypter& operator=(const GCMCrypter&) = delete;

    int add_authenticated_data_encrypt(const unsigned char* data, size_t length) override;
    int encrypt(const unsigned char* data, size_t length, bool final) override;
    int getEncryptedData(const unsigned char** data, size_t* length) override;
    int add_authenticated_data_decrypt(const unsigned char* data, size_t length) override;
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
