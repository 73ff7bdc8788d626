#ifndef CMNCRYPTO_TESTS_SITUATIONS_H
#define CMNCRYPTO_TESTS_SITUATIONS_H

#include <string>

#include "testlib/Pki.h"

/** Small worlds of certificates and revocation lists, written as texts and made by OpenSSL called directly. */
namespace testlib {

/**
 * "subject<issuer" with options, each after "|": "before=" and "after=" say in how many days, "md=" and "key=" how and
 * with whose key it is signed, "own=" whose key it holds, everything else is an extension as in OpenSSL's
 * configuration, an empty one being left out. Names that do not begin with "leaf" are those of authorities. The same
 * text is always the same certificate. Borrowed.
 */
X509* certificateOf(const std::string& text);
/**
 * The PEM text of several, joined by "+": certificates as above, and lists, whose text has no "<" but the issuer's name
 * with options as above, "v=1", "after=" without a number for no nextUpdate, and for each entry "rev=" with a name and
 * extensions, each after "/".
 */
std::string pemFrom(const std::string& texts);

/** What OpenSSL says, called directly with a store of its own. */
struct Verdict {
    Verdict() = default;
    /** @param store its trusted certificates and lists, as for pemFrom() @param flags X509_V_FLAG_ values */
    Verdict(const std::string& store, const std::string& chain, unsigned long flags);
    std::string message() const; ///< as X509Store puts it
    int error = 0, depth = 0;
    std::string built; ///< the chain, as PEM text
};

} // namespace testlib

#endif
