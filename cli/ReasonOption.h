/** @file
 * Reasons for revocation that a list has to cover.
 */
#ifndef CMNCRYPTO_CLI_REASONOPTION_H
#define CMNCRYPTO_CLI_REASONOPTION_H

#include <bitset>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace CmnCrypto::Cli {

/** Adds --reason for any number of names of RFC 5280, 4.2.1.13, and "all". */
void addReasonOption(CLI::App& parser, std::vector<std::string>& names);

/** @return their bits */
std::bitset<9> reasonBits(const std::vector<std::string>& names);

} // namespace CmnCrypto::Cli

#endif
