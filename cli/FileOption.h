/** @file
 * What all options that name a file have in common.
 */
#ifndef CMNCRYPTO_CLI_FILEOPTION_H
#define CMNCRYPTO_CLI_FILEOPTION_H

#include <string>

#include <CLI/CLI.hpp>

namespace CmnCrypto::Cli {

/** Refuses an empty name, which would otherwise be taken for an option that was not given. */
inline CLI::Validator namedFile() {
    return {[](std::string& name) { return std::string(name.empty() ? "the name is empty; name a file" : ""); }, ""};
}

} // namespace CmnCrypto::Cli

#endif
