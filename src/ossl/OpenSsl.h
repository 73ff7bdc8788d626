#ifndef CMNCRYPTO_OSSL_OPENSSL_H
#define CMNCRYPTO_OSSL_OPENSSL_H

// The door to OpenSSL: sources include this, not OpenSSL's headers one by one.

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/crypto.h>
#include <openssl/decoder.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/opensslv.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>
#include <openssl/x509v3.h>

#include "cmncrypto/OpenSslPtr.h"

static_assert(OPENSSL_VERSION_MAJOR >= 3, "OpenSSL 3.0 or later is needed");

#endif
