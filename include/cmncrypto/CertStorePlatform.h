/** @file
 * The interface between the certificate-store classes and the store of a platform.
 */
#ifndef CMNCRYPTO_CERTSTOREPLATFORM_H
#define CMNCRYPTO_CERTSTOREPLATFORM_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "cmncrypto/KeySecurity.h"
#include "cmncrypto/SigningBackEnd.h"
#include "cmncrypto/export.h"

/** Certificates and keys in a store. The functions never throw: they log and return codes or truth values. */
namespace CmnCrypto::WinCertStore {

/** A certificate of a store, known by the pointer's value alone: on Windows a PCCERT_CONTEXT. */
using CertContext = const void*;
/** An open store: on Windows an HCERTSTORE. */
using CertStoreHandle = void*;

/** Which name of the local machine. */
enum HostnameType : int32_t {
    HOSTNAME_FQDN = 0, ///< its fully qualified DNS name
    HOSTNAME_SHORT = 1 ///< its DNS host name without the domain
};

/** One of a certificate's two names. */
enum class CertName { subject, issuer };

/** Property CERT_SHA1_HASH_PROP_ID: the SHA-1 digest of the encoded certificate, 20 bytes. */
constexpr uint32_t certSha1HashProperty = 3;
/** Property CERT_KEY_SPEC_PROP_ID: the kind of the private key, 4 bytes; only certificates with a key have it. */
constexpr uint32_t certKeySpecProperty = 6;

/** When a certificate is valid, in units of 100 ns since 1601-01-01 UTC. */
struct CertValidity {
    uint64_t notBefore = 0; ///< the first moment
    uint64_t notAfter = 0;  ///< the last one
};

/** What a certificate is meant for beyond the key usage. */
struct EnhancedKeyUsage {
    bool unrestricted = false;       ///< there is no such extension: the certificate serves any purpose
    std::vector<std::string> usages; ///< object identifiers in dotted form
};

/** A certificate's DER form, borrowed from its context. */
struct EncodedCertificate {
    const unsigned char* data = nullptr; ///< the bytes, null for none
    size_t length = 0;                   ///< their number
};

/** What the chain of a certificate is to be good for. */
struct CertChainPolicy {
    bool server = true;           ///< the certificate identifies a server; false: a client
    std::string hostName = {};    ///< what it must be issued for, server or client; empty for no matter. A dot at its
                                  ///< end does not count; with one in front no certificate fits
    bool checkRevocation = false; ///< whether the lists that the platform finds are asked, on Windows also those
                                  ///< that the system fetches; without, nothing is fetched
};

/** A handle that signs, never the key itself. */
struct StoreKey {
    uintptr_t handle = 0;     ///< what SigningBackEnd takes
    uint32_t keySpec = 0;     ///< ncryptKeySpec for a CNG key, else the CryptoAPI key to sign with
    bool mustRelease = false; ///< whether the receiver releases the handle
};

/**
 * The calls on which the store classes stand, one for one those of the Windows certificate store. Results are Windows
 * error numbers, 0 for success, unless something else is said; outputs are meaningful after success only. Contexts are
 * counted: duplicate() returns the very same pointer, and every context that a call hands out is given back with
 * release(). They outlive their store's handle. Implementations throw nothing but what is said,
 * and may be called from several threads at
 * once, each with open stores of its own.
 */
class CMNCRYPTO_API CertStorePlatform {
public:
    CertStorePlatform() = default;
    CertStorePlatform(const CertStorePlatform&) = delete;
    CertStorePlatform& operator=(const CertStorePlatform&) = delete;
    virtual ~CertStorePlatform();

    /** Opens an existing store of the local machine. @param store to be closed with closeStore() */
    virtual uint32_t openStore(const std::string& name, bool readOnly, CertStoreHandle& store) = 0;
    virtual void closeStore(CertStoreHandle store) = 0; ///< contexts taken from the store stay usable
    /**
     * Finds the next certificate with @p text in its subject (all attribute values in one line, case ignored).
     * @param previous the last one found, released by the call in any case; null to begin
     * @return null when there are no more
     * @throws std::bad_alloc
     */
    virtual CertContext findBySubject(CertStoreHandle store, const std::string& text, CertContext previous) = 0;
    /** As findBySubject(), by the SHA-1 digest of the encoded certificate, 20 bytes. @throws std::bad_alloc */
    virtual CertContext findByHash(CertStoreHandle store, const unsigned char* sha1, CertContext previous) = 0;
    /** Adds a copy of a certificate. @param disposition a CERT_STORE_ADD_ value: what becomes of an equal one */
    virtual uint32_t addToStore(CertStoreHandle store, CertContext context, uint32_t disposition) = 0;

    virtual CertContext duplicate(CertContext context) = 0; ///< @return @p context, counted once more
    virtual void release(CertContext context) = 0;          ///< null is nothing to release

    /** Reads a property. @param data null asks for the length alone @param length size of @p data, then bytes of it */
    virtual uint32_t property(CertContext context, uint32_t id, void* data, uint32_t& length) = 0;
    /** Renders a name as its attribute values in their order, joined by ", ". @throws std::bad_alloc */
    virtual uint32_t name(CertContext context, CertName which, std::string& text) = 0;
    virtual EncodedCertificate encoded(CertContext context) = 0; ///< @return the DER form
    virtual CertValidity validity(CertContext context) = 0;      ///< @return both dates
    /** @param now seconds since 1970 UTC @return -1 not yet valid, 0 valid, 1 expired */
    virtual int verifyTimeValidity(CertContext context, int64_t now) = 0;
    /** @param bits receives the first byte of the key usage @return whether the certificate has that extension */
    virtual bool intendedKeyUsage(CertContext context, unsigned char& bits) = 0;
    /** Reads the extended key usage. @throws std::bad_alloc */
    virtual uint32_t enhancedKeyUsage(CertContext context, EnhancedKeyUsage& usage) = 0;
    /** @return the algorithm of the public key in dotted form, empty when unreadable @throws std::bad_alloc */
    virtual std::string publicKeyAlgorithm(CertContext context) = 0;
    /** Finds the issuers of a certificate in the machine's stores, upwards, the root included where it is known.
     *  @param issuers receives contexts to be released; it is empty when none is found @throws std::bad_alloc */
    virtual uint32_t chain(CertContext context, std::vector<CertContext>& issuers) = 0;

    /** Acquires the private key of a certificate. */
    virtual uint32_t acquireKey(CertContext context, StoreKey& key) = 0;
    /** @return how handles of acquireKey() sign and are released; lives as long as the platform */
    virtual SigningBackEnd& signing() = 0;

    /** Asks for a name of the local machine. @param size characters in @p buffer */
    virtual uint32_t computerName(HostnameType type, char* buffer, uint32_t size) = 0;
    /** Converts hexadecimal digits into bytes. @throws std::bad_alloc */
    virtual uint32_t hexToBinary(const std::string& digits, std::vector<unsigned char>& bytes) = 0;
    /** @return what the platform says about an error number @throws std::bad_alloc */
    virtual std::string errorText(uint32_t error) = 0;

    /** @name Beyond selection
     * What a platform need not be able to do: here each answers ERROR_NOT_SUPPORTED (50).
     * @{ */
    /** Makes a context of an encoded certificate, in no store. @param context to be released */
    virtual uint32_t createContext(const unsigned char* der, size_t length, CertContext& context);
    /** Removes a certificate from the store that it was found in. On Windows its private key stays with the key's
     *  provider, since other certificates may have the same. @param context is released in any case */
    virtual uint32_t removeFromStore(CertContext context);
    /**
     * Adds the certificate of a PKCS#12 bundle that has a key, with its key, and the bundle's other certificates as its
     * issuers, without keys. One that is in the store with a key stays as it is; to one without, the key is added.
     * After a failure the store and its keys are as before.
     * @return ERROR_INVALID_PASSWORD (86) and CRYPT_E_NO_KEY_PROPERTY for what they say @throws std::bad_alloc
     * @param password in UTF-8 @param exportable whether the key may ever leave the store again
     * @param context receives the certificate in the store, to be released
     */
    virtual uint32_t importBundle(CertStoreHandle store, const unsigned char* der, size_t length,
                                  const std::string& password, bool exportable, CertContext& context);
    /** Packs a certificate, its issuers and its key. @param der the bundle, to be wiped @return NTE_NOT_SUPPORTED,
     *  NTE_BAD_KEY_STATE or NTE_PERM for a key that may not leave its store @throws std::bad_alloc */
    virtual uint32_t exportBundle(CertContext context, const std::string& password, std::vector<unsigned char>& der);
    /** Verifies a certificate up to a root that the machine trusts. @return 0 or why it is not valid, as a CERT_E_,
     *          TRUST_E_ or CRYPT_E_ number @throws std::bad_alloc */
    virtual uint32_t verifyChain(CertContext context, const CertChainPolicy& policy);
    /** @return who may use keys, living as long as the platform; null where that is no matter of the store */
    virtual KeySecurity* keySecurity();
    /** @} */
};

/**
 * Installs the platform of the process; certificates and keys taken from an earlier one keep that one alive. Set it
 * before threads start. @param platform null for what the process began with
 */
CMNCRYPTO_API void setCertStorePlatform(std::shared_ptr<CertStorePlatform> platform);

/** @return the platform of the process: at first the system's store on Windows, elsewhere a software store without
 *          any stores */
CMNCRYPTO_API std::shared_ptr<CertStorePlatform> certStorePlatform();

} // namespace CmnCrypto::WinCertStore

#endif
