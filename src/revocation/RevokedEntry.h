#ifndef CMNCRYPTO_REVOCATION_REVOKEDENTRY_H
#define CMNCRYPTO_REVOCATION_REVOKEDENTRY_H

#include <cstdint>

#include "ossl/OpenSsl.h"

namespace CmnCrypto {

/** @return the CRLReason of an entry, -1 when it gives none */
int32_t reasonOf(const X509_REVOKED* entry);

/**
 * Looks for the entry of a serial number without sorting a parsed list first; everything that needs more than the
 * serial numbers is left to X509_CRL_get0_by_serial(), so that the answers are always those of that call.
 * @return 1 found, 2 found as removeFromCRL, 0 not found
 */
int findRevokedInOrder(X509_CRL* crl, const ASN1_INTEGER* serial, X509_REVOKED** entry);

} // namespace CmnCrypto

#endif
