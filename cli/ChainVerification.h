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

/** Verifies at the present time. @throws the library's exceptions */
ChainAnswer verifyChain(const ChainQuestion& question);

} // namespace CmnCrypto::Cli

#endif
