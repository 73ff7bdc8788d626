/** @file
 * Certificates and private keys out of PEM files.
 */
#ifndef CMNCRYPTO_CERTIFICATEPRIVATEKEYFACTORY_H
#define CMNCRYPTO_CERTIFICATEPRIVATEKEYFACTORY_H

#include <string>

#include <openssl/pem.h>
#include <openssl/types.h>
#include <openssl/x509.h>

#include "cmncrypto/export.h"
#include "cmncrypto/types.h"

namespace CmnCrypto {

/**
 * Static members only. Each returns 0; 12 when the file cannot be opened; 13 when it cannot be read or does not hold
 * what is wanted, or the pass phrase is wrong; 36 when memory is short; 20 for a null output. Outputs are null after a
 * failure, which goes to the logger, after a message of its own where OpenSSL's
 * legacy provider is missing; the logger may be null. In the messages a percent sign of a path
 * is doubled, so that CmnApi::cert_util_logger can serve as a logger.
 *
 * A file is read once from its beginning to its end, at most 64 MiB, so that a pipe serves too. Nothing asks for a
 * pass phrase on a terminal. Safe from several threads at once.
 */
class CMNCRYPTO_API CertificatePrivateKeyFactory {
public:
    /**
     * Reads every certificate of a file ("CERTIFICATE" and "TRUSTED CERTIFICATE"), in the file's order; other blocks
     * are passed over. One malformed certificate refuses the file.
     * @param certificates receives a new stack, to be released by the caller with its certificates
     */
    static int generateX509Certificates(const std::string& path, cmncrypto_cert_log_cb logger,
                                        STACK_OF(X509)** certificates);

    /** Reads the first certificate of a file. @param certificate receives it, to be released by the caller */
    static int generateX509LeafCertificate(const std::string& path, cmncrypto_cert_log_cb logger, X509** certificate);

    /**
     * Reads the first private key of a file; other blocks are passed over. Kinds of keys and of encryption are those
     * of X509PrivateKey.
     * @param callback asked for the pass phrase of an encrypted key, at most once; null: @p userData is the pass
     *                 phrase itself, NUL-terminated, or null for none
     * @param key receives the key, to be released by the caller
     */
    static int generateEVP_PKEY(const std::string& path, cmncrypto_cert_log_cb logger, pem_password_cb* callback,
                                void* userData, EVP_PKEY** key);
};

} // namespace CmnCrypto

#endif
