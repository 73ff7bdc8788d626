/** @file
 * Subject alternative names of certificates and requests.
 */
#ifndef CMNCRYPTO_CLI_ALTERNATIVENAMES_H
#define CMNCRYPTO_CLI_ALTERNATIVENAMES_H

#include <string>
#include <vector>

#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace CmnCrypto::Cli {

/** @return a name with its kind in front, "DNS:host.example", its bytes as they stand there */
std::string generalNameText(const GENERAL_NAME& name);

/**
 * @param extensions of a certificate or a request; may be null
 * @return every alternative name with its kind in front, "DNS:host.example", its bytes as they stand there; what
 *         cannot be decoded is there too, as "malformed:..."
 */
std::vector<std::string> alternativeNames(const STACK_OF(X509_EXTENSION)* extensions);

/** @return the first ones and, where there are many more, how many are left out */
std::vector<std::string> shortened(const std::vector<std::string>& names);

} // namespace CmnCrypto::Cli

#endif
