#ifndef CMNCRYPTO_BENCH_MATERIAL_H
#define CMNCRYPTO_BENCH_MATERIAL_H

#include <memory>
#include <string>

#include <openssl/bio.h>
#include <openssl/decoder.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

/** Releases what OpenSSL's side of a job owns; the library's own deleter is not exported. */
struct Release {
    void operator()(ASN1_INTEGER* object) const { ASN1_INTEGER_free(object); }
    void operator()(BIO* object) const { BIO_free_all(object); }
    void operator()(EVP_MD* object) const { EVP_MD_free(object); }
    void operator()(EVP_MD_CTX* object) const { EVP_MD_CTX_free(object); }
    void operator()(EVP_PKEY* object) const { EVP_PKEY_free(object); }
    void operator()(EVP_PKEY_CTX* object) const { EVP_PKEY_CTX_free(object); }
    void operator()(GENERAL_NAMES* object) const { GENERAL_NAMES_free(object); }
    void operator()(OSSL_DECODER_CTX* object) const { OSSL_DECODER_CTX_free(object); }
    void operator()(SSL* object) const { SSL_free(object); }
    void operator()(SSL_CTX* object) const { SSL_CTX_free(object); }
    void operator()(STACK_OF(X509)* object) const { sk_X509_pop_free(object, X509_free); }
    void operator()(STACK_OF(X509_INFO)* object) const { sk_X509_INFO_pop_free(object, X509_INFO_free); }
    void operator()(X509* object) const { X509_free(object); }
    void operator()(STACK_OF(X509_CRL)* object) const { sk_X509_CRL_pop_free(object, X509_CRL_free); }
    void operator()(X509_CRL* object) const { X509_CRL_free(object); }
    void operator()(X509_REVOKED* object) const { X509_REVOKED_free(object); }
    void operator()(X509_STORE* object) const { X509_STORE_free(object); }
    void operator()(X509_STORE_CTX* object) const { X509_STORE_CTX_free(object); }
};
template <class T> using Owned = std::unique_ptr<T, Release>;

/** A private key in both armours, made once in a run. */
struct KeyMaterial {
    Owned<EVP_PKEY> key; ///< RSA-2048
    std::string pkcs8;
    std::string pkcs1;
};
const KeyMaterial& keyMaterial();

/** @return @p count certificates for that key in PEM, as a public authority makes them: names, purposes, identifiers */
std::string certificatesPem(int count);

/** Adds an extension by OpenSSL's name and notation. @param issuer whose key identifier an authority's one repeats */
void addExtension(X509* certificate, const X509* issuer, int kind, const char* value);

/** What a memory BIO holds. */
std::string textOf(BIO* bio);

#endif
