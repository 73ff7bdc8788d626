#ifndef CMNCRYPTO_ENCRYPTION_CBCSIDE_H
#define CMNCRYPTO_ENCRYPTION_CBCSIDE_H

#include "encryption/CrypterOutput.h"
#include "encryption/CrypterStatus.h"
#include "ossl/Algorithms.h"
#include "ossl/SecretBytes.h"

namespace CmnCrypto::Encryption {

/**
 * One direction of an AES-CBC crypter: context, recorded error, finished flag and output. The key schedule is
 * kept from stream to stream.
 */
class CbcSide {
public:
    enum class Direction { decrypt = 0, encrypt = 1 };

    static constexpr size_t blockLength = 16;

    /** The tags name the owner's reset and data operations in the log; @p key outlives the object. */
    CbcSide(Direction direction, ossl::Cipher cipher, const ossl::SecretBytes& key, const char* resetTag,
            const char* dataTag);

    /** Begins a stream whose IV is to follow with init(). */
    void open() noexcept;
    /** Takes up key and IV (16 bytes). @return 0, or 1223 after logging */
    int init(const unsigned char* iv);

    /** The data operation. @return 0, 1223, 1224 */
    int feed(const unsigned char* data, size_t length, bool final);
    int handOut(const unsigned char** data, size_t* length) { return m_output.handOut(m_error, data, length); }

    /** What feed() would answer without looking at any data. */
    int readiness() const noexcept;
    /** Puts bytes in front of what the stream's first data will give. @return false when memory is short */
    bool prefix(const unsigned char* bytes, size_t length) { return m_output.bytes.append(bytes, length); }
    /** Logs and records the failure of a data operation. @return 1224, the answer of the failing call */
    int failData(const char* text, int line);
    /** Logs and records the failure of a reset. @return 1223 */
    int failReset(const char* text, int line);

private:
    void record(const char* tag, const char* text, int line);
    const Direction m_direction;
    const ossl::Cipher m_cipher;
    const ossl::SecretBytes& m_key;
    const char* const m_resetTag;
    const char* const m_dataTag;

    OpenSslPtr<EVP_CIPHER_CTX> m_context;
    const EVP_CIPHER* m_scheduled = nullptr; // the cipher whose key schedule the context holds, held by it
    CrypterOutput m_output;
    int m_error = statusFailed;
    bool m_finished = false;
};

} // namespace CmnCrypto::Encryption

#endif
