/** @file
 * Distinguished names for people.
 */
#ifndef CMNCRYPTO_CLI_READABLENAME_H
#define CMNCRYPTO_CLI_READABLENAME_H

#include <string>

#include <openssl/types.h>

#include "cmncrypto/X509Name.h"

namespace CmnCrypto::Cli {

/**
 * The library's one-line form with letters beyond ASCII left as they are (UTF-8); control characters, and separators
 * inside values, are escaped with backslashes. Show it with printable() and Backslash::keep.
 * @return "(empty)" for a name without attributes
 */
std::string readableName(const X509_NAME* name);
std::string readableName(const X509Name& name); ///< as above

/** As above in the form of RFC 2253: the last attribute first, no blanks. @return "" for a name without attributes */
std::string rfc2253Name(const X509_NAME* name);

} // namespace CmnCrypto::Cli

#endif
