/** @file
 * Errors of the certificate-store classes, and how they log.
 */
#ifndef CMNCRYPTO_WINCERTSTORECOMMON_H
#define CMNCRYPTO_WINCERTSTORECOMMON_H

#include <cstdint>
#include <string>

#include "cmncrypto/export.h"

namespace CmnCrypto::WinCertStore {

/** What can go wrong with a store's certificates and keys, beside selection, which has product codes of its own. */
enum WinCertStoreError : int32_t {
    WIN_CERT_STORE_OK = 0,
    WIN_CERT_STORE_NO_MEMORY = 1,
    WIN_CERT_STORE_NO_PRIVATE_KEY = 2,       ///< the certificate has none
    WIN_CERT_STORE_KEY_NOT_ACQUIRED = 3,     ///< the store does not give its key
    WIN_CERT_STORE_IMPORT_NOT_OPENED = 4,    ///< what is to be imported cannot be opened
    WIN_CERT_STORE_WRONG_PASSWORD = 5,       ///< of what is to be imported
    WIN_CERT_STORE_IMPORT_UNREADABLE = 6,    ///< it is nothing that can be imported
    WIN_CERT_STORE_EXPORT_FAILED = 7,        ///< it cannot be encoded
    WIN_CERT_STORE_EXPORT_NOT_WRITTEN = 8,   ///< it cannot be written
    WIN_CERT_STORE_PERMISSIONS_NOT_READ = 9, ///< those of the private key
    WIN_CERT_STORE_KEY_NOT_EXPORTABLE = 10,
    WIN_CERT_STORE_PERMISSIONS_NOT_SET = 11, ///< those of the private key
    WIN_CERT_STORE_IMPORT_NOT_ADDED = 12,    ///< the store does not take it
    WIN_CERT_STORE_CHAIN_NOT_VERIFIED = 13,
    WIN_CERT_STORE_NOT_FOUND = 14,    ///< there is no such certificate
    WIN_CERT_STORE_NOT_SUPPORTED = 15 ///< this platform cannot do it
};

/** Static members only; safe from several threads at once. */
class CMNCRYPTO_API WinCertStoreCommon {
public:
    /** @return the product status code of @p error; 8777 for a number that is none of them, which is logged */
    static int WinCertToQXError(WinCertStoreError error);

    /** Logs a failure. */
    static void WinCertStoreLogError(const std::string& function, const std::string& message);
    /** Logs a failure with its number in decimal. */
    static void WinCertStoreLogError(const std::string& function, unsigned long code, const std::string& message);
    /** Logs a failure with the Windows error number in hexadecimal. */
    static void WinCertStoreLogErrorHex(const std::string& function, unsigned int code, const std::string& message);
    /** Traces a number in hexadecimal. */
    static void WinCertStoreTraceHex(const std::string& function, unsigned int value, const std::string& message);
    /** Traces a number in decimal. */
    static void WinCertStoreTraceInt(const std::string& function, int value, const std::string& message);
    /** Traces a text. */
    static void WinCertStoreTraceStr(const std::string& function, const std::string& message);
};

} // namespace CmnCrypto::WinCertStore

#endif
