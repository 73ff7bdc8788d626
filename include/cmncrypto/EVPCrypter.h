/** @file
 * AES-256-CBC straight over OpenSSL (NIST SP 800-38A).
 */
#ifndef CMNCRYPTO_EVPCRYPTER_H
#define CMNCRYPTO_EVPCRYPTER_H

#include <memory>
#include <string>

#include "cmncrypto/KSCrypt.h"
#include "cmncrypto/export.h"

namespace CmnCrypto::Encryption {

/** Ciphers of an EVPCrypter. */
enum EVPCryptType : int32_t { EVP_CRYPT_AES_256_CBC = 0 };

/**
 * AES-256 in CBC mode with PKCS#7 padding, key and IV from the caller. Nothing is added to the stream: 16 bytes
 * of ciphertext for every 16 of plaintext begun, and one whole block of padding where it ends on a boundary.
 * The stream is not authenticated: altered bytes may decrypt to altered plaintext.
 *
 * Made by CryptFactory::createCrypter() only. A reset takes up the same key and IV again.
 */
class CMNCRYPTO_API EVPCrypter final : public KSCrypt {
public:
    ~EVPCrypter() override;
    EVPCrypter(const EVPCrypter&) = delete;
    EVPCrypter& operator=(const EVPCrypter&) = delete;

    int encrypt(const unsigned char* data, size_t length, bool final) override;
    int getEncryptedData(const unsigned char** data, size_t* length) override;
    int decrypt(const unsigned char* data, size_t length, bool final) override;
    int getDecryptedData(const unsigned char** data, size_t* length) override;
    int reset() override;
    int encryptReset() override;
    int decryptReset() override;

private:
    friend class CryptFactory;
    EVPCrypter(EVPCryptType type, const std::string& key, const std::string& iv);

    class Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace CmnCrypto::Encryption

#endif
