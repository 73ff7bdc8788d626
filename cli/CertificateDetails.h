/** @file
 * What is shown of a certificate.
 */
#ifndef CMNCRYPTO_CLI_CERTIFICATEDETAILS_H
#define CMNCRYPTO_CLI_CERTIFICATEDETAILS_H

#include <string>

#include "Details.h"
#include "cmncrypto/X509Certificate.h"

namespace CmnCrypto::Cli {

/** Adds names, serial number, dates, key, signature and fingerprint. */
void addSummary(const X509Certificate& certificate, Details& details);

/** Adds the lines that tell one certificate of a chain from another. */
void addIdentity(const X509Certificate& certificate, Details& details);

/** Adds what stands in the extensions. */
void addExtensions(X509Certificate& certificate, Details& details);

/** Adds a name on one line and in the form of RFC 2253. */
void addName(const std::string& label, const std::string& member, const X509Name& name, Details& details);

/** Adds from when until when it is valid. */
void addDates(const X509Certificate& certificate, Details& details);

/** @return the name of an object identifier, or its number */
std::string objectText(const ASN1_OBJECT* object);

/** Adds what it is signed with. */
void addSignatureAlgorithm(const X509Certificate& certificate, Details& details);

/** Adds how many certificates the input has, for commands that look at the first one only. */
void addFurtherCertificates(size_t count, Details& details);

/** @return whether issuer and subject are the same name */
bool isSelfIssued(const X509Certificate& certificate);

/** @return "valid", "expired", "not yet valid" or "unreadable" */
std::string validityState(X509Certificate& certificate);

} // namespace CmnCrypto::Cli

#endif
