/** @file
 * How the certificates of an input belong together.
 */
#ifndef CMNCRYPTO_CLI_CHAINLINKS_H
#define CMNCRYPTO_CLI_CHAINLINKS_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "CertificateInput.h"

namespace CmnCrypto::Cli {

/** Where one certificate comes from. */
struct ChainLink {
    std::string role;             ///< "leaf", "intermediate", "root" (an authority of its own) or "self-issued"
    std::optional<size_t> issuer; ///< index of the certificate with the issuer's name, of itself where it is its own
    bool isSigned = false;        ///< the issuer's key fits the signature

    std::string text(size_t self) const;
};

/** Finds the issuer of each certificate within the input, by name and, among several of a name, by key. */
std::vector<ChainLink> findLinks(const CertificateInput& input);

/** @return what keeps the certificates from being a chain with the leaf first */
std::vector<std::string> chainProblems(const CertificateInput& input, const std::vector<ChainLink>& links);

} // namespace CmnCrypto::Cli

#endif
