/** @file
 * The certificate stores of the system.
 */
#ifndef CMNCRYPTO_CLI_SYSTEMSTORES_H
#define CMNCRYPTO_CLI_SYSTEMSTORES_H

#include <string>
#include <vector>

namespace CmnCrypto::Cli {

/** @return whether the system has certificate stores of its own, so that no folder need be named */
bool hasSystemStores() noexcept;

/** @return the names of those of the machine */
std::vector<std::string> systemStoreNames();

} // namespace CmnCrypto::Cli

#endif
