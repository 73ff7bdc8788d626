/** @file
 * The entries of a revocation list: the certificates that it revokes.
 */
#ifndef CMNCRYPTO_CLI_CRLENTRIES_H
#define CMNCRYPTO_CLI_CRLENTRIES_H

#include <cstdint>
#include <optional>
#include <string>

#include "CertificateDate.h"
#include "Details.h"
#include "cmncrypto/Crl.h"

namespace CmnCrypto::Cli {

/** What a list says about one certificate. */
struct CrlEntry {
    explicit CrlEntry(const X509_REVOKED* entry);

    CertificateDate date;
    int32_t reason; ///< CRLReason (RFC 5280, 5.3.1), -1 when there is none

    std::string reasonText() const; ///< "keyCompromise (1)", "none given"
    /** Adds "Revoked" and "Reason", in the document revocationDate, revocationTime, reason and reasonName. */
    void addTo(Details& details) const;
};

/**
 * Goes through the list as it stands, which, asked once, is far quicker than to have it sorted.
 * @return the entry of a certificate of the list's issuer, borrowed; null when there is none
 */
const X509_REVOKED* findEntry(const Crl& list, const ASN1_INTEGER* serial);

/** Prints the first @p count entries, one line each, and how many there are more. @throws Failure */
void printEntries(const Crl& list, uint64_t count);

/** @return the first @p count entries as JSON text: a document with a million of them would take gigabytes */
std::string describeEntries(const Crl& list, uint64_t count);

} // namespace CmnCrypto::Cli

#endif
