#ifndef CMNCRYPTO_X509_OLDBUNDLE_H
#define CMNCRYPTO_X509_OLDBUNDLE_H

#include "ossl/LegacyContext.h"

namespace CmnCrypto {

/** What a PKCS#12 bundle holds. */
struct BundleParts {
    OpenSslPtr<X509> certificate; ///< the one of the key
    OpenSslPtr<EVP_PKEY> key;
    OpenSslPtr<STACK_OF(X509)> further; ///< the other certificates, null for none
};

/**
 * Takes a PKCS#12 bundle apart that needs OpenSSL's legacy provider. PKCS12_parse() would look for the algorithm of the
 * key in the default library context, whatever context the bundle belongs to.
 * @param context usable
 * @param parts receives objects of the default library context
 * @return false when the password is wrong or something is malformed
 */
bool openOldBundle(const unsigned char* data, int length, const char* password, const ossl::LegacyContext& context,
                   BundleParts& parts);

} // namespace CmnCrypto

#endif
