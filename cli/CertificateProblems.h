/** @file
 * What is wrong with a certificate by itself; nothing is verified against others.
 */
#ifndef CMNCRYPTO_CLI_CERTIFICATEPROBLEMS_H
#define CMNCRYPTO_CLI_CERTIFICATEPROBLEMS_H

#include <string>
#include <vector>

#include "Details.h"
#include "cmncrypto/X509Certificate.h"

namespace CmnCrypto::Cli {

/** Sentences of the form "what: more about it", apart from the key, which KeyDescription judges. */
struct CertificateProblems {
    std::vector<std::string> serious; ///< it is of no use: now, or with any peer
    std::vector<std::string> remarks; ///< some peers will object
};

CertificateProblems findProblems(X509Certificate& certificate);

/** Adds all of them, the serious ones first. */
void addProblems(X509Certificate& certificate, Details& details);

} // namespace CmnCrypto::Cli

#endif
