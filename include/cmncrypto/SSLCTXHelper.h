/** @file
 * Certificates and keys from PEM files into TLS contexts.
 */
#ifndef CMNCRYPTO_SSLCTXHELPER_H
#define CMNCRYPTO_SSLCTXHELPER_H

#include <string>

#include <openssl/types.h>

#include "cmncrypto/export.h"
#include "cmncrypto/types.h"

namespace CmnCrypto {

/**
 * Static members only. Files are read as CertificatePrivateKeyFactory does, with its codes: 12 when one cannot be
 * opened, 13 when it does not hold what is wanted or the pass phrase is wrong, 36 when memory is short; 20 for a null
 * context. A failure goes to the logger, which may be null; in its messages percent signs are doubled, so that
 * CmnApi::cert_util_logger can serve. Safe from several threads at once, for different contexts.
 */
class CMNCRYPTO_API SSLCTXHelper {
public:
    /**
     * Trusts every certificate of a file for the verification of peers, and names each as an accepted authority to
     * clients that are asked for a certificate. What the context trusts already stays.
     * @return 0; 12, 13, 36, 20; 9110 when OpenSSL refuses one
     */
    static int set_ca_cert_in_ssl_context(const std::string& path, cmncrypto_cert_log_cb logger, SSL_CTX* context);

    /**
     * Makes the first certificate of a file the context's own, and sends the others with it, in the file's order,
     * instead of those that the context has sent so far.
     * @return 0; 12, 13, 36, 20; 9110 when OpenSSL refuses one, as for a key that is too short
     */
    static int set_cert_chain_in_ssl_context(const std::string& path, cmncrypto_cert_log_cb logger, SSL_CTX* context);

    /**
     * Makes the first private key of a file that of the context's certificate, which comes first.
     * @param passPhrase opens an encrypted key; null or empty for none: nothing asks on a terminal
     * @return 0; 12, 13, 36, 20; 9129 when OpenSSL refuses the key; 9130 when it is not the certificate's
     */
    static int set_private_key_in_ssl_context(const std::string& path, const char* passPhrase,
                                              cmncrypto_cert_log_cb logger, SSL_CTX* context);
    /** As above. */
    static int set_private_key_in_ssl_context(const std::string& path, const std::string& passPhrase,
                                              cmncrypto_cert_log_cb logger, SSL_CTX* context) {
        return set_private_key_in_ssl_context(path, passPhrase.c_str(), logger, context);
    }
};

} // namespace CmnCrypto

#endif
