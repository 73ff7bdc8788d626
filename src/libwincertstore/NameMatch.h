#ifndef CMNCRYPTO_LIBWINCERTSTORE_NAMEMATCH_H
#define CMNCRYPTO_LIBWINCERTSTORE_NAMEMATCH_H

#include <list>
#include <string>

#include "cmncrypto/CertificateSelector.h"

namespace CmnCrypto::WinCertStore {

/** @return whether all patterns match a subject; false when there is none */
bool subjectMatches(const std::string& subject, const std::list<NamePattern>& patterns);

/** @return whether all patterns with a text match an issuer; true when there is none */
bool issuerMatches(const std::string& issuer, const std::list<NamePattern>& patterns);

} // namespace CmnCrypto::WinCertStore

#endif
