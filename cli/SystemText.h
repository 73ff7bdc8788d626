/** @file
 * What the system says about an error.
 */
#ifndef CMNCRYPTO_CLI_SYSTEMTEXT_H
#define CMNCRYPTO_CLI_SYSTEMTEXT_H

#include <string>

namespace CmnCrypto::Cli {

/** @param error a value of errno, or what OpenSSL has noted about a socket @return "Permission denied" */
std::string systemText(int error);

} // namespace CmnCrypto::Cli

#endif
