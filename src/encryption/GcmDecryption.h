#ifndef CMNCRYPTO_ENCRYPTION_GCMDECRYPTION_H
#define CMNCRYPTO_ENCRYPTION_GCMDECRYPTION_H

#include "encryption/CrypterOutput.h"
#include "encryption/GcmStream.h"
#include "ossl/OpenSsl.h"
#include "ossl/SecretBytes.h"

namespace CmnCrypto::Encryption {

/**
 * The decrypting side of a GCMCrypter. Collects the ciphertext; the final call decrypts it where it lies, checks
 * the tag and only then turns it into output.
 */
class GcmDecryption {
public:
    /** @p error is the crypter's recorded error, shared with the other side; both outlive the object. */
    GcmDecryption(const ossl::SecretBytes& key, int& error);

    int reset();
    int addAuthenticatedData(const unsigned char* data, size_t length);
    int decrypt(const unsigned char* data, size_t length, bool final);
    int handOut(const unsigned char** data, size_t* length) { return m_output.handOut(m_error, data, length); }

private:
    enum class Phase { reset = 1, readingIv = 2, readingData = 4, finished = 5 };

    /** The last bytes seen, which are the tag if no more follow. */
    class TagCache {
    public:
        size_t size() const noexcept { return m_size; }
        unsigned char* data() noexcept { return m_bytes; }
        void append(const unsigned char* bytes, size_t length) noexcept;
        void dropFront(size_t length) noexcept;
        void clear() noexcept { m_size = 0; }

    private:
        unsigned char m_bytes[GCM_TAG_LEN] = {};
        size_t m_size = 0;
    };

    bool prepareContext();
    int readIv(const unsigned char*& data, size_t& length);
    int readData(const unsigned char* data, size_t length);
    int finish();
    bool addStoredAad();
    bool decryptCollected();
    int fail(const char* text, int status);
    void close(int error);

    const ossl::SecretBytes& m_key;
    int& m_error;
    OpenSslPtr<EVP_CIPHER_CTX> m_context;
    const EVP_CIPHER* m_scheduled = nullptr; // the cipher whose key schedule the context holds, held by it
    Phase m_phase = Phase::finished;
    unsigned char m_iv[gcmIvLength] = {};
    size_t m_ivLength = 0; // collected so far
    TagCache m_cachedTag;
    ByteBuffer m_aad;
    ByteBuffer m_collected;
    CrypterOutput m_output;
};

} // namespace CmnCrypto::Encryption

#endif
