#ifndef CMNCRYPTO_TLS_CONTEXTKEY_H
#define CMNCRYPTO_TLS_CONTEXTKEY_H

#include <string>

#include "cmncrypto/types.h"
#include "ossl/OpenSsl.h"

namespace CmnCrypto::tls {

// A context has a place for a certificate and key of each kind (RSA, EC, ...), and knows which it has been given last.

/**
 * Puts a key into a context, after its certificate. Whether it is the certificate's is only looked at where both are of
 * one kind.
 * @return 0; 9130 when it is not the certificate's, 9129 when it is refused for another reason: OpenSSL's own is in the
 *         error queue
 */
int useKey(SSL_CTX* context, EVP_PKEY* key) noexcept;

/** What a key is held against before it enters a context. */
enum class KeyOf {
    anything,   ///< nothing: the caller looks at it afterwards
    certificate ///< the certificate that the context has, if any: OpenSSL would keep a wrong key of another kind
};

/** As useKey(), with a key from a file. @param passPhrase NUL-terminated, null or empty for none */
int useKeyFile(SSL_CTX* context, const std::string& path, const char* passPhrase, cmncrypto_cert_log_cb logger,
               KeyOf owner);

/**
 * @param certificate what the context has been given last, before its key; null for none
 * @return whether the context's key is that certificate's; otherwise the reason is in the error queue
 */
bool keyMatches(const SSL_CTX* context, const X509* certificate) noexcept;

} // namespace CmnCrypto::tls

#endif
