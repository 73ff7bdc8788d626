/** @file
 * Makes crypters by type.
 */
#ifndef CMNCRYPTO_CRYPTFACTORY_H
#define CMNCRYPTO_CRYPTFACTORY_H

#include <string>

#include "cmncrypto/KSCrypt.h"
#include "cmncrypto/export.h"

namespace CmnCrypto::Encryption {

/** Static members only; safe from several threads at once. */
class CMNCRYPTO_API CryptFactory {
public:
    /**
     * Makes a crypter, ready for its first stream in both directions.
     * @param key raw bytes, as many as KSCrypt::cryptTypeToKeyLen() says; not used for CRYPT_NONE
     * @param iv raw bytes, 16 for AES_256_CBC_EVP; not used for any other type
     * @return a new crypter that the caller deletes
     * @throws CmnException 1223 for an invalid type, a wrong length or a failure of OpenSSL
     */
    static KSCrypt* createCrypter(KSCrypt::CryptType type, const std::string& key, const std::string& iv);
};

} // namespace CmnCrypto::Encryption

#endif
