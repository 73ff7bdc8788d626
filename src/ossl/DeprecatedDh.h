#ifndef CMNCRYPTO_OSSL_DEPRECATEDDH_H
#define CMNCRYPTO_OSSL_DEPRECATEDDH_H

// The DH object is deprecated in OpenSSL 3, but it is what get_dh2048() hands to hosts. Only the sources that
// make and release one include this header, and they include it first.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <openssl/dh.h>

#endif
