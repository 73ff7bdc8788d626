/** @file
 * Data to sign or to verify.
 */
#ifndef CMNCRYPTO_CLI_SIGNEDDATA_H
#define CMNCRYPTO_CLI_SIGNEDDATA_H

#include <string>

namespace CmnCrypto::Cli {

/** Reads an input whole, of any size that memory has room for: the library signs in one call. @throws Failure */
std::string readSignedData(const std::string& name);

} // namespace CmnCrypto::Cli

#endif
