/** @file
 * What can be told of a key without giving it away.
 */
#ifndef CMNCRYPTO_CLI_KEYDESCRIPTION_H
#define CMNCRYPTO_CLI_KEYDESCRIPTION_H

#include <string>

#include <openssl/types.h>

#include "Details.h"

namespace CmnCrypto::Cli {

/** The public part of a key. */
struct KeyDescription {
    /** @param key of which the public part is looked at only @throws Failure (internal) */
    explicit KeyDescription(const EVP_PKEY* key);

    std::string kind;   ///< "RSA", "EC", "ED25519"
    std::string curve;  ///< of an EC key, empty otherwise
    int bits;           ///< size as the field counts it
    std::string sha256; ///< digest of the SubjectPublicKeyInfo, hexadecimal
    std::string pin;    ///< the same in Base64, as curl takes it: "sha256//..."
    bool weak;          ///< less than 112 bits of security

    /** @return "RSA, 3072 bits" or "EC (prime256v1), 256 bits" */
    std::string text() const;
    /** Adds all of it; a weak key is a problem. */
    void addTo(Details& details) const;
};

} // namespace CmnCrypto::Cli

#endif
