/** @file
 * New files with certificates.
 */
#ifndef CMNCRYPTO_CLI_CERTIFICATEFILE_H
#define CMNCRYPTO_CLI_CERTIFICATEFILE_H

#include <string>

#include "cmncrypto/X509CertChain.h"

namespace CmnCrypto::Cli {

/** Saves to a new file with X509CertChain::saveToFile(); a signal waits until the file is whole.
 *  @throws Failure (output exists, output cannot be written) */
void saveToNewFile(const X509CertChain& chain, const std::string& path);
/** As above with X509Certificate::saveToFile(). */
void saveToNewFile(const X509Certificate& certificate, const std::string& path);

} // namespace CmnCrypto::Cli

#endif
