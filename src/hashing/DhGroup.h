#ifndef CMNCRYPTO_HASHING_DHGROUP_H
#define CMNCRYPTO_HASHING_DHGROUP_H

#include "cmncrypto/OpenSslPtr.h"

namespace CmnCrypto {

/** @return the fixed 2048-bit group of the TLS recipe, a new object each time; null when memory is short */
OpenSslPtr<DH> makeDh2048();

} // namespace CmnCrypto

#endif
