#ifndef CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_NAMESTRING_H
#define CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_NAMESTRING_H

#include <string>

#include "ossl/OpenSsl.h"

namespace CmnCrypto::WinCertStore {

/**
 * Renders a name as Windows does (CERT_SIMPLE_NAME_STR): the attribute values in their order, joined by ", ", those of
 * one relative name by " + "; a value with characters that would be ambiguous stands between double quotes. In UTF-8.
 * @throws std::bad_alloc
 */
std::string nameString(const X509_NAME* name);

} // namespace CmnCrypto::WinCertStore

#endif
