/** @file
 * Public keys and the verification of signatures.
 */
#ifndef CMNCRYPTO_X509PUBLICKEY_H
#define CMNCRYPTO_X509PUBLICKEY_H

#include <memory>
#include <string>

#include <openssl/types.h>

#include "cmncrypto/LibraryObject.h"
#include "cmncrypto/export.h"
#include "cmncrypto/types.h"

namespace CmnCrypto {

class SignatureVerifier;

/**
 * Wraps one public key, owned or borrowed: the counterpart of X509PrivateKey. Copies are deliberately empty. One
 * thread at a time per object.
 */
class CMNCRYPTO_API X509PublicKey : public LibraryObject {
public:
    X509PublicKey(); ///< without a key
    /** Reads an RSA key from PEM text ("PUBLIC KEY", RFC 5280 SubjectPublicKeyInfo); one that is restricted to
     *  RSASSA-PSS becomes a plain RSA key. @throws CmnException -1 when there is none */
    explicit X509PublicKey(const std::string& pem);
    /** Takes @p key as it is; @p owns says whether the object releases it. */
    X509PublicKey(EVP_PKEY* key, bool owns);
    /** Makes an empty object: callers rely on copies never sharing a key. */
    X509PublicKey(const X509PublicKey& other);
    /** Leaves the object as it is and returns an empty one, as the copy constructor does. */
    X509PublicKey operator=(const X509PublicKey& other); // NOLINT(misc-unconventional-assign-operator)
    ~X509PublicKey() override;

    /** @return 1 when the keys are equal, 0 when they differ or one object is empty, negative when they are of
     *          different kinds or cannot be compared; two empty objects are equal */
    int operator==(const X509PublicKey& other) const;

    /**
     * @param csrPem a certificate request in PEM (RFC 2986); its signature is not verified
     * @return a new object with the request's public key, to be deleted by the caller
     * @throws CmnException -1 when the request or its key cannot be read
     */
    static X509PublicKey* extractPublicKeyFromCSR(const std::string& csrPem);

    /** @return whether the certificate in this PEM text is for this key; nothing else of it is checked. False, logged,
     *          for a certificate that cannot be read and for an empty object */
    bool verifyCert(const std::string& certPem) const;

    /**
     * Verifies a signature as X509PrivateKey::getSign() makes it.
     * @param signature Base64 on one line
     * @param algorithm SHA256, SHA512 or SHA1; 0 tries those of CmnApi::getValidHashAlgoList() in order
     * @return whether the signature is genuine; a malformed one is not
     * @throws CmnException -1 for an algorithm without a name or when OpenSSL cannot start
     * @throws std::bad_alloc when memory is short or @p signature has 2 GiB or more
     */
    bool verifySign(const std::string& data, const std::string& signature, _HASH_ALGO algorithm) const;

    /** As above, for @p length bytes of signature. */
    bool verifySign(const std::string& data, unsigned char* signature, int& length, _HASH_ALGO algorithm) const;

    /** @return the wrapped key, borrowed; null for an empty object */
    EVP_PKEY* getEVPKey() const noexcept;

private:
    void getEVPPublicKey(const std::string& pem);
    SignatureVerifier& verifier() const;

    EVP_PKEY* m_key = nullptr;
    bool m_owns = false;
    mutable std::unique_ptr<SignatureVerifier> m_verifier; ///< kept from one signature to the next
};

} // namespace CmnCrypto

#endif
