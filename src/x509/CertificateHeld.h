#ifndef CMNCRYPTO_X509_CERTIFICATEHELD_H
#define CMNCRYPTO_X509_CERTIFICATEHELD_H

#include "x509/Held.h"

namespace CmnCrypto {

/** @return the certificate that an object holds @throws CmnException 20 when it is empty */
inline const X509* heldCertificate(const X509* certificate, const char* function) {
    return held(certificate, function, "Certificate is NULL.");
}

} // namespace CmnCrypto

#endif
