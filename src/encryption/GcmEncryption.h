#ifndef CMNCRYPTO_ENCRYPTION_GCMENCRYPTION_H
#define CMNCRYPTO_ENCRYPTION_GCMENCRYPTION_H

#include "encryption/CrypterOutput.h"
#include "encryption/GcmStream.h"
#include "ossl/OpenSsl.h"
#include "ossl/SecretBytes.h"

namespace CmnCrypto::Encryption {

/** The encrypting side of a GCMCrypter. The key schedule is kept from stream to stream; the IV never is. */
class GcmEncryption {
public:
    /** @p error is the crypter's recorded error, shared with the other side; both outlive the object. */
    GcmEncryption(const ossl::SecretBytes& key, int& error);

    int reset();
    int addAuthenticatedData(const unsigned char* data, size_t length);
    int encrypt(const unsigned char* data, size_t length, bool final);
    int handOut(const unsigned char** data, size_t* length) { return m_output.handOut(m_error, data, length); }

private:
    enum class Phase { aadAllowed = 1, dataStarted = 3, finished = 5 };

    const char* start(unsigned char (&iv)[gcmIvLength], int& line);
    int finish();
    int fail(const char* function, const char* text);
    void close(int error);

    const ossl::SecretBytes& m_key;
    int& m_error;
    OpenSslPtr<EVP_CIPHER_CTX> m_context;
    const EVP_CIPHER* m_scheduled = nullptr; // the cipher whose key schedule the context holds, held by it
    Phase m_phase = Phase::finished;
    CrypterOutput m_output;
};

} // namespace CmnCrypto::Encryption

#endif
