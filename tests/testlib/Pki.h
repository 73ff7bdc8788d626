#ifndef CMNCRYPTO_TESTLIB_PKI_H
#define CMNCRYPTO_TESTLIB_PKI_H

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <openssl/x509v3.h>

#include "cmncrypto/OpenSslPtr.h"

/** Certificates, keys and files of a test, made by OpenSSL called directly. What cannot be made throws. */
namespace testlib {

struct Release {
    template <class T> void operator()(T* object) const { CmnCrypto::OpenSslDeleter()(object); }
    void operator()(X509_CRL* object) const { X509_CRL_free(object); }
    void operator()(std::FILE* file) const { std::fclose(file); }
};
template <class T> using Owned = std::unique_ptr<T, Release>;

/** What @p write puts out; it answers 1. */
std::string written(const std::function<int(BIO*)>& write);
std::string pem(X509* certificate);
/** PKCS#8, or the older form of its kind; encrypted when there is a cipher. */
std::string pem(EVP_PKEY* key, const EVP_CIPHER* cipher = nullptr, bool traditional = false);
std::string publicPem(EVP_PKEY* key);
/** PKCS#8 encrypted in a way of PKCS#5 1.5 or PKCS#12, such as NID_pbeWithMD5AndDES_CBC. */
std::string oldPem(EVP_PKEY* key, int algorithm);
/** Bytes in a block whose armour says that they are encrypted, as OpenSSL does it. All pass phrases are "secret". */
std::string lockedPem(const std::string& type, X509* certificate);
/**
 * Blocks joined by "+". One is "cert:<kind of key>", "trusted:", "public:" or "crl:" with a kind, a private key
 * ("pkcs8:" or "old:" with a kind, encrypted with "secret" when a cipher stands before the colon, "old/AES-128-CBC:",
 * "scrypt/AES-128-CBC:" or "pbe/PBE-MD5-DES:"), "locked/<TYPE>:", "bad/<TYPE>:", which is malformed, "nul:", a zero
 * byte, or "text:", a line. "crlf:" at the begin makes all lines end so.
 */
std::string pemOf(const std::string& blocks);

/** The text with "%xx" for bytes. */
std::string unescaped(const std::string& text);
/** One element of DER. */
std::string tlv(int tag, const std::string& content);
struct Entry {
    std::string field, value;
    int type = MBSTRING_UTF8;
    int set = 0; ///< -1: in one RDN with the entry before
};
Owned<X509_NAME> makeName(const std::vector<Entry>& entries);
/** "C=US,OU:30=%00h,+CN=a": a number is a string's tag, "+" puts an entry into one RDN with that before. */
Owned<X509_NAME> nameFrom(const std::string& text);
std::string der(X509_NAME* name);
std::string rfc2253(X509_NAME* name);

/** A key of this process: "RSA-<bits>", "P-<bits>" or "ED25519"; "P-256#a" and "P-256#b" are two. Borrowed. */
EVP_PKEY* keyOf(const std::string& kind);
/** The kind of a key that keyOf() has given, "" for any other. */
std::string kindOf(const EVP_PKEY* key);

/** Self-signed, or signed by the key @p signer; @p change works on it before. CN=host, serial number 1, one day. */
Owned<X509> makeCertificate(const std::string& key = "P-256", const std::function<void(X509*)>& change = nullptr,
                            const EVP_MD* digest = EVP_sha256(), const std::string& signer = "");
/** With extensions: the content of each in DER. */
Owned<X509> makeCertificate(const std::vector<std::pair<int, std::string>>& extensions);

/** With the distribution points of a text in the notation of distribution-points.txt. */
Owned<X509> certificateWithPoints(const std::string& text);
/** An extension with its content in DER. */
Owned<X509_EXTENSION> makeExtension(int nid, const std::string& content);
/** Seconds from now after a sign, otherwise a time's own text, which may be malformed. */
Owned<ASN1_TIME> timeFrom(const std::string& text);
/** A list by CN=host, signed by a key; @p change works on it before. No @p nextUpdate: without. */
Owned<X509_CRL> makeList(const std::string& key = "P-256", const std::function<void(X509_CRL*)>& change = nullptr,
                         const std::string& lastUpdate = "-0", const std::string& nextUpdate = "+3600");
/**
 * Adds entries, joined by "+", to a list, each an hour older than the one before: a serial number in hexadecimal, maybe
 * negative, ":" and a reason in DER, "@" and the common name of the certificate's issuer.
 */
void revoke(X509_CRL* list, const std::string& entries);
Owned<ASN1_INTEGER> serialFrom(const std::string& hex);
std::string der(X509_CRL* list);
std::string pem(X509_CRL* list);

/** A library context with OpenSSL's legacy provider, null where that is not installed. */
OSSL_LIB_CTX* legacyContext();

/** A folder that goes with the test. */
class Folder {
public:
    Folder();
    ~Folder();
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    std::string path(const std::string& name) const { return m_path + "/" + name; }
    std::string write(const std::string& name, const std::string& content) const; ///< @return its path
private:
    std::string m_path;
};
std::string contentOf(const std::string& path);

/** Takes the terminal away and puts a pass phrase on standard input, where OpenSSL asks then. For good. */
class PassPhraseOnInput {
public:
    PassPhraseOnInput();
    bool asked() const;
};

} // namespace testlib

#endif
