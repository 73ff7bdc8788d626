/** @file
 * Private keys, certificate requests (RFC 2986) and self-signed certificates.
 */
#ifndef CMNCRYPTO_X509PRIVATEKEY_H
#define CMNCRYPTO_X509PRIVATEKEY_H

#include <cstdint>
#include <cstdio>
#include <string>

#include <openssl/pem.h>
#include <openssl/types.h>

#include "cmncrypto/LibraryObject.h"
#include "cmncrypto/export.h"
#include "cmncrypto/types.h"

namespace CmnCrypto {

/**
 * Wraps one private key, owned or borrowed. Copies are deliberately empty. Nothing here ever asks for a pass phrase
 * on a terminal. The PEM text that a key was made from is kept, and wiped with the object. One thread at a time per
 * object.
 */
class CMNCRYPTO_API X509PrivateKey : public LibraryObject {
public:
    /**
     * Reads the first private key of a PEM text: PKCS#1, PKCS#8 (RFC 5958) or SEC 1, plain or encrypted. While FIPS
     * mode is off, keys encrypted as older systems did are read too, where OpenSSL's legacy provider is installed.
     * @param passphrase empty for none; OpenSSL looks at its first 1024 bytes
     * @throws CmnException 5999 when the key is encrypted and @p passphrase is empty, 8787 when FIPS mode refuses the
     *         key's encryption, -1 when there is no key, it is malformed or the pass phrase is wrong
     */
    X509PrivateKey(const std::string& pem, const std::string& passphrase);
    /**
     * Reads the first private key of a PEM file.
     * @param callback asked for the pass phrase of an encrypted key, at most once; null: @p userData is the pass
     *                 phrase itself, NUL-terminated, or null for none
     * @throws CmnException 12 when the file cannot be opened, 13 when it holds no key that can be read or the pass
     *         phrase is wrong, 36 when memory is short
     */
    X509PrivateKey(const std::string& path, pem_password_cb* callback, void* userData);
    /** Takes @p key as it is; @p owns says whether the object releases it. */
    X509PrivateKey(EVP_PKEY* key, bool owns);
    /** Makes an empty object: callers rely on copies never sharing a key. */
    X509PrivateKey(const X509PrivateKey& other);
    /** Leaves the object as it is and returns an empty one, as the copy constructor does. */
    X509PrivateKey operator=(const X509PrivateKey& other); // NOLINT(misc-unconventional-assign-operator)
    ~X509PrivateKey() override;

    /** @return the bits of an RSA key, rounded up to whole bytes @throws CmnException 36 for a key that is not RSA or
     *          an empty object */
    uint16_t getKeySize() const;

    /**
     * Signs data: RSASSA-PKCS1-v1_5 (RFC 8017) with an RSA key, RSASSA-PSS with one that is restricted to it, ECDSA
     * with an EC key. Keys that sign without a digest of their caller's choice (Ed25519) are of no use.
     * @param algorithm SHA256, SHA512 or SHA1
     * @return the signature in Base64 on one line
     * @throws CmnException -1 when the key or the algorithm is of no use, also for an empty object
     */
    std::string getSign(const std::string& data, _HASH_ALGO algorithm) const;

    /**
     * Makes a certificate request, signed with SHA-512. Its subject is the common name alone, "/" where only
     * alternative names are given.
     * @param commonName at most 64 characters in ISO 8859-1, or empty
     * @param subjectAltNames alternative names as OpenSSL's configuration writes them ("DNS:host, IP:10.0.0.1"), or
     *                        empty
     * @return the request in PEM
     * @throws std::string (not a CmnException) when both are empty or the alternative names cannot be used
     * @throws CmnException -1 for any other failure, also for an empty object
     */
    std::string getCSR(const std::string& commonName, const std::string& subjectAltNames) const;

    /**
     * Writes the key as PKCS#8 in PEM to an open file, which stays the caller's.
     * @param passphrase encrypts it with AES-256-CBC (PBES2, RFC 8018), its first 1024 bytes; empty: written as plain
     *                   text
     * @return 0, or 1 when that fails; never throws
     */
    int saveToFile(std::FILE* file, const std::string& passphrase) const;

    /**
     * Tells whether a key is encrypted and whether a pass phrase opens it.
     * @return 0 when it is not encrypted; 1 when it is and @p passphrase opens it; otherwise the code of the failure:
     *         5999 for an encrypted key without a pass phrase, 8787 for one refused in FIPS mode, -1
     */
    static int getPrivKeyStatus(const std::string& pem, const std::string& passphrase);

    /**
     * Makes an RSA key with public exponent 65537 (FIPS 186-4).
     * @param bits length of the modulus; OpenSSL refuses less than 512, and FIPS mode less than 2048
     * @param key receives the key, to be released with releasePrivateKey(); null after a failure
     * @return 0
     * @throws CmnException 10 when memory is short, 14 when OpenSSL fails, 20 for a null @p key
     */
    static int generatePrivateKey(unsigned short bits, EVP_PKEY** key);

    /**
     * Makes a self-signed X.509 v3 certificate without extensions and with a random positive serial number of 64 bits.
     * @param days validity from now on; days x 86400 wraps as a signed 32-bit number: at most 24855 make sense
     * @param algorithm SHA256 or SHA1; anything else: SHA-512
     * @param subject the subject's attributes in order; those that OpenSSL refuses are left out
     * @param key the key to certify. After a failure it is released and set to null
     * @param certificate receives the certificate, to be released by the caller; null after a failure
     * @return 0
     * @throws CmnException 10 when memory is short, 14 when OpenSSL fails, 114 without a subject or serial number,
     *         5902 without a digest, 20 for a null @p key or @p certificate
     */
    static int generateSelfSignCertificate(unsigned short days, _HASH_ALGO algorithm, subTokenValuePair* subject,
                                           EVP_PKEY** key, X509** certificate);

    /** Releases @p *key, if any. The pointer stays as it is: the caller sets it to null. */
    static void releasePrivateKey(EVP_PKEY** key);

    /** @return the wrapped key, borrowed; null for an empty object */
    EVP_PKEY* getEVPKey() const noexcept;

private:
    void getEVPPrivateKey();
    void getEVPPrivateKeyEncrypted(const std::string& passphrase);

    EVP_PKEY* m_key = nullptr;
    std::string m_pem;
    bool m_owns = false;
};

} // namespace CmnCrypto

#endif
