/** @file
 * Pass-through crypter.
 */
#ifndef CMNCRYPTO_NULLCRYPTER_H
#define CMNCRYPTO_NULLCRYPTER_H

#include <memory>

#include "cmncrypto/KSCrypt.h"
#include "cmncrypto/export.h"

namespace CmnCrypto::Encryption {

/**
 * Copies bytes: the streaming contract of KSCrypt without a cipher. The output of a stream is its input.
 */
class CMNCRYPTO_API NullCrypter final : public KSCrypt {
public:
    NullCrypter();
    ~NullCrypter() override;
    NullCrypter(const NullCrypter&) = delete;
    NullCrypter& operator=(const NullCrypter&) = delete;

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
