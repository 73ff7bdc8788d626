/** @file
 * Names that people write on the command line.
 */
#ifndef CMNCRYPTO_CLI_SUBJECTTEXT_H
#define CMNCRYPTO_CLI_SUBJECTTEXT_H

#include <string>
#include <vector>

namespace CmnCrypto::Cli {

/** One attribute of a subject: "O" and its value in ISO 8859-1, the character set that the library takes. */
struct SubjectAttribute {
    std::string token;
    std::string value;
};

/**
 * Parses "CN=host,O=Org,C=US" (RFC 4514: the last attribute comes first in the name). A backslash escapes a character
 * or stands before two hexadecimal digits.
 * @return the attributes in the order of the name, at least one, each of which the library accepts
 * @throws Failure (usage)
 */
std::vector<SubjectAttribute> parseSubject(const std::string& option, const std::string& text);

/** @return UTF-8 as ISO 8859-1 @throws Failure (usage) for other characters, bytes that are no UTF-8 and zero bytes */
std::string toLatin1(const std::string& option, const std::string& text);

} // namespace CmnCrypto::Cli

#endif
