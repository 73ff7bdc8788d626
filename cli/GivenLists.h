/** @file
 * The revocation lists that a verification is given.
 */
#ifndef CMNCRYPTO_CLI_GIVENLISTS_H
#define CMNCRYPTO_CLI_GIVENLISTS_H

#include <string>
#include <vector>

#include "CrlInput.h"

namespace CmnCrypto::Cli {

/** The lists of all files, each with where it came from. */
struct GivenLists {
    /** @throws Failure (input cannot be read) */
    explicit GivenLists(const std::vector<std::string>& names);

    /** Adds a problem where lists were left out. */
    void addTo(Details& details) const;

    std::vector<CrlInput> inputs;
    std::vector<const CrlInput*> sources;
    std::vector<const Crl*> lists;
    size_t deltas = 0; ///< how many were left out
};

} // namespace CmnCrypto::Cli

#endif
