#ifndef CMNCRYPTO_X509_PRIVATEKEYPEM_H
#define CMNCRYPTO_X509_PRIVATEKEYPEM_H

#include <functional>

#include "ossl/OpenSsl.h"
#include "x509/PassPhrase.h"

namespace CmnCrypto {

/** What reading a private key came to. */
struct ReadKey {
    OpenSslPtr<EVP_PKEY> key;
    bool fipsRefused = false; ///< FIPS mode is on and has no algorithm for the key's encryption
};

/**
 * Reads the first private key of a PEM text. Plain RSA keys take the decoder that the thread keeps. Keys that only
 * OpenSSL's legacy provider can decrypt are read with it while FIPS mode is off.
 * @param text a memory BIO that can be rewound
 * @param tell receives a message where the legacy provider is missing
 * @return without a key, and OpenSSL's errors queued, when there is none that can be read
 */
ReadKey readPrivateKeyPem(BIO* text, PassPhrase& passPhrase, const std::function<void(const char*)>& tell);

} // namespace CmnCrypto

#endif
