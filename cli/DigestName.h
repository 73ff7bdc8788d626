/** @file
 * The digests of signatures and fingerprints by name.
 */
#ifndef CMNCRYPTO_CLI_DIGESTNAME_H
#define CMNCRYPTO_CLI_DIGESTNAME_H

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "cmncrypto/types.h"

namespace CmnCrypto::Cli {

/** @return SHA256, SHA512, SHA1 */
std::vector<std::string> digestNames();

/** @return the digest of one of these names, HASH_ALGO_NONE for another */
_HASH_ALGO digestOf(const std::string& name);

/** Adds -a, --algorithm, with the value of @p name as default. @param further a name that is allowed as well */
void addDigestOption(CLI::App& parser, std::string& name, const std::string& further = "");

} // namespace CmnCrypto::Cli

#endif
