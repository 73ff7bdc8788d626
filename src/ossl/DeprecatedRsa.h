#ifndef CMNCRYPTO_OSSL_DEPRECATEDRSA_H
#define CMNCRYPTO_OSSL_DEPRECATEDRSA_H

// PEM_read_bio_RSA_PUBKEY() and its kin are deprecated in OpenSSL 3, but they are what accepts an RSA key and nothing
// else: their successors take any kind. Only the sources that read such a key include this header, and they include it
// first.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <openssl/pem.h>
#include <openssl/rsa.h>

#endif
