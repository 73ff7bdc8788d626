/** @file
 * What is shown of a revocation list, apart from its entries.
 */
#ifndef CMNCRYPTO_CLI_CRLDETAILS_H
#define CMNCRYPTO_CLI_CRLDETAILS_H

#include <optional>
#include <string>
#include <vector>

#include "CertificateDate.h"
#include "Details.h"
#include "cmncrypto/Crl.h"

namespace CmnCrypto::Cli {

/** A number of any size. */
struct ListNumber {
    std::string decimal;
    std::string hexadecimal; ///< two digits per byte

    std::string text() const { return decimal + " (0x" + hexadecimal + ")"; }
};

/** @return the number of a list (NID_crl_number), or of the one that a delta list builds on (NID_delta_crl); nothing
 *          when the list has none, or one that is malformed or absurdly long */
std::optional<ListNumber> listNumber(const Crl& list, int extension);

/** @return an integer in hexadecimal as serial numbers are written: two digits per byte, "-" in front where negative */
std::string hexadecimal(const ASN1_INTEGER* number);

/** @return whether the list has an extension, readable or not */
bool hasExtension(const Crl& list, int extension);

CertificateDate issueDate(const Crl& list);
CertificateDate nextUpdate(const Crl& list);

/** @return what its distribution point restricts a list to (RFC 5280, 5.2.5): names, kinds of certificates, reasons;
 *          nothing when it has none that can be read */
std::optional<std::vector<std::string>> listScope(const Crl& list);

/** Adds what tells one list from another, issuer, number, dates, each label behind @p indent. */
void addListIdentity(const Crl& list, const std::string& indent, Details& details);

/** Adds version, signature, size and scope. */
void addListProperties(const Crl& list, Details& details);

} // namespace CmnCrypto::Cli

#endif
