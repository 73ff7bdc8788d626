/** @file
 * Helpers around store certificates.
 */
#ifndef CMNCRYPTO_WINCERTSTOREHELPER_H
#define CMNCRYPTO_WINCERTSTOREHELPER_H

#include <string>

#include "cmncrypto/export.h"

namespace CmnCrypto::WinCertStore {

/** Static members only; safe from several threads at once. */
class CMNCRYPTO_API WinCertStoreHelper {
public:
    /** @return whether @p fingerprint is a SHA-1 digest in 40 hexadecimal digits, blanks and ":" left aside; the
     *          reason is logged when it is not */
    static bool IsValidFingerprint(const std::string& fingerprint);
};

} // namespace CmnCrypto::WinCertStore

#endif
