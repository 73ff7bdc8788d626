/** @file
 * Verification of a chain, with what it was decided by.
 */
#ifndef CMNCRYPTO_CLI_CHAINVERIFICATION_H
#define CMNCRYPTO_CLI_CHAINVERIFICATION_H

#include <optional>
#include <string>
#include <vector>

#include "CrlEntries.h"
#include "Verdict.h"
#include "cmncrypto/Crl.h"
#include "cmncrypto/X509Store.h"

namespace CmnCrypto::Cli {

/** What a chain is verified with. */
struct ChainQuestion {
    std::string trusted; ///< PEM
    std::string chain;   ///< PEM, the leaf first
    std::vector<const Crl*> lists;
    crl_check_level level;
    int purpose = 0; ///< X509_PURPOSE_ value that all of the chain must allow, 0 for any
};

/** The outcome and its evidence. */
struct ChainAnswer {
    int error = 0;           ///< X509_V_ERR_ value, 0 for a verified chain
    int depth = 0;           ///< of the certificate that it is about
    std::string errorText;   ///< in OpenSSL's words
    std::string statusText;  ///< in the library's words
    std::string verifiedPem; ///< the chain as it was built, as far as it got; may be empty
    std::optional<CrlEntry> revocation;
    std::vector<std::vector<size_t>> listsUsed; ///< by depth: which of the lists were asked
};

/** @return what an X509_V_ERR_ value means for somebody who relies on the chain @throws std::bad_alloc for its memory
 */
Verdict verdictOn(int error);

/**
 * What a verification for any purpose leaves out: the usages of the certificate and of the authorities above it.
 * @param purpose X509_PURPOSE_ value
 * @return the depth of the first certificate that does not allow it, -1 when all do
 */
int unsuitableDepth(const X509CertChain& chain, int purpose);

/** Verifies at the present time. @throws the library's exceptions */
ChainAnswer verifyChain(const ChainQuestion& question);

} // namespace CmnCrypto::Cli

#endif
