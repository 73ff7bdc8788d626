#ifndef CMNCRYPTO_ENCRYPTION_CRYPTEROUTPUT_H
#define CMNCRYPTO_ENCRYPTION_CRYPTEROUTPUT_H

#include "encryption/ByteBuffer.h"

namespace CmnCrypto::Encryption {

/** The output of one direction: collects until it is handed out, and starts from empty after that. */
class CrypterOutput {
public:
    /** To be called where a data call begins: drops what the caller has taken. */
    void begin() noexcept;

    /** Drops everything, for a new stream. */
    void reset() noexcept;

    /**
     * The get operation of a crypter whose recorded error is @p error.
     * @return 0; 1223 with null and 0 while there is an error; 1224 for null arguments
     */
    int handOut(int error, const unsigned char** data, size_t* length) noexcept;

    ByteBuffer bytes;

private:
    bool m_handedOut = false;
};

} // namespace CmnCrypto::Encryption

#endif
