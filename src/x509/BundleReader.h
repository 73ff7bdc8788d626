#ifndef CMNCRYPTO_X509_BUNDLEREADER_H
#define CMNCRYPTO_X509_BUNDLEREADER_H

#include <string>

#include "x509/OldBundle.h"

namespace CmnCrypto {

/** @return whether a password opens a bundle, an empty one standing for none too; true also where nothing tells. Leaves
 *          no OpenSSL errors */
bool bundlePasswordFits(PKCS12* bundle, const std::string& password);

/**
 * Takes a PKCS#12 bundle apart, also one of an older system while FIPS mode is off.
 * @param function where OpenSSL's legacy provider is missing, that is logged in this function's name
 * @param data what @p bundle was decoded from
 * @return false with OpenSSL's errors queued when the password is wrong or something is malformed
 */
bool readBundle(const char* function, PKCS12* bundle, const unsigned char* data, int length, const char* password,
                BundleParts& parts);

} // namespace CmnCrypto

#endif
