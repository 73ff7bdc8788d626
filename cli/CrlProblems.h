/** @file
 * What is wrong with a revocation list by itself; its signature is not looked at.
 */
#ifndef CMNCRYPTO_CLI_CRLPROBLEMS_H
#define CMNCRYPTO_CLI_CRLPROBLEMS_H

#include "Details.h"
#include "cmncrypto/Crl.h"

namespace CmnCrypto::Cli {

/** Adds sentences of the form "what: more about it", the serious ones first. */
void addListProblems(const Crl& list, Details& details);

} // namespace CmnCrypto::Cli

#endif
