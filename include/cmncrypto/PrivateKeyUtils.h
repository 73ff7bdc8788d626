/** @file
 * Questions about private key files.
 */
#ifndef CMNCRYPTO_PRIVATEKEYUTILS_H
#define CMNCRYPTO_PRIVATEKEYUTILS_H

#include <string>

#include "cmncrypto/export.h"
#include "cmncrypto/types.h"

namespace CmnCrypto {

/** Static members only; files, logger and codes as with CertificatePrivateKeyFactory. */
class CMNCRYPTO_API PrivateKeyUtils {
public:
    /**
     * Tells by its armour whether the first private key of a PEM file is encrypted, so that a host knows whether to ask
     * for a pass phrase. The key itself is not decoded.
     * @param encrypted receives 1 or 0; untouched on failure
     * @return 0; 12 when the file cannot be opened; 13 when it cannot be read or holds no private key; 36 when memory
     *         is short; 20 for a null @p encrypted
     */
    static int is_private_key_file_encrypted(const std::string& path, cmncrypto_cert_log_cb logger, int* encrypted);
};

} // namespace CmnCrypto

#endif
