/** @file
 * Owners of the OpenSSL objects that the command handles itself; the library's own are not exported.
 */
#ifndef CMNCRYPTO_CLI_OPENSSLOWNER_H
#define CMNCRYPTO_CLI_OPENSSLOWNER_H

#include <memory>

#include <openssl/asn1.h>
#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

namespace CmnCrypto::Cli {

/** Releases an object with the given OpenSSL function. */
template <auto Release> struct ReleaseWith {
    template <class T> void operator()(T* object) const noexcept { Release(object); }
};

/** Owns one object: Owned<X509, X509_free>. */
template <class T, auto Release> using Owned = std::unique_ptr<T, ReleaseWith<Release>>;

using OwnedBio = Owned<BIO, BIO_free_all>; ///< memory BIOs wipe what they held
using OwnedBignum = Owned<BIGNUM, BN_free>;
using OwnedInteger = Owned<ASN1_INTEGER, ASN1_INTEGER_free>;
using OwnedCertificate = Owned<X509, X509_free>;
using OwnedKey = Owned<EVP_PKEY, EVP_PKEY_free>;
using OwnedRequest = Owned<X509_REQ, X509_REQ_free>;

} // namespace CmnCrypto::Cli

#endif
