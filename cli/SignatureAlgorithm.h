/** @file
 * What certificates and requests are signed with.
 */
#ifndef CMNCRYPTO_CLI_SIGNATUREALGORITHM_H
#define CMNCRYPTO_CLI_SIGNATUREALGORITHM_H

#include <string>

#include <openssl/x509.h>

namespace CmnCrypto::Cli {

/** An algorithm identifier, read without asking whether OpenSSL could verify with it. */
struct SignatureAlgorithm {
    explicit SignatureAlgorithm(const X509_ALGOR* algorithm);

    /** @return whether nobody should accept it any more: MD2, MD4, MD5 */
    bool isBroken() const noexcept;
    /** @return whether others may refuse it: SHA-1 */
    bool isWeak() const noexcept;

    std::string name; ///< or the number of an unknown one
    std::string text; ///< with the digest, where that is a parameter: "rsassaPss with SHA1"
    int digest;       ///< NID_undef when unknown
};

} // namespace CmnCrypto::Cli

#endif
