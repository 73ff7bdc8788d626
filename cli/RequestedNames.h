/** @file
 * Alternative names that people write on the command line.
 */
#ifndef CMNCRYPTO_CLI_REQUESTEDNAMES_H
#define CMNCRYPTO_CLI_REQUESTEDNAMES_H

#include <string>
#include <vector>

namespace CmnCrypto::Cli {

/**
 * Checks alternative names and joins them as X509PrivateKey::getCSR() takes them.
 * @param names each with its kind ("DNS:", "IP:", "email:", "URI:") or a host name or address without; several may
 *              stand in one text, separated by commas
 * @return "DNS:host.example,IP:10.0.0.1", empty for no names
 * @throws Failure (usage)
 */
std::string requestedNames(const std::string& option, const std::vector<std::string>& names);

} // namespace CmnCrypto::Cli

#endif
