/** @file
 * X.509 distinguished names (RFC 5280, X.501).
 */
#ifndef CMNCRYPTO_X509NAME_H
#define CMNCRYPTO_X509NAME_H

#include <cstdint>
#include <string>

#include <openssl/types.h>

#include "cmncrypto/OpenSslPtr.h"
#include "cmncrypto/export.h"

namespace CmnCrypto {

/** The attributes that can be asked of a name. */
enum nameField : int32_t {
    NAME_FIELD_OU = 1, ///< organizationalUnitName
    NAME_FIELD_CN = 2  ///< commonName
};

/** Text styles of a name. */
enum _name_format : int32_t {
    NAME_FORMAT_LEGACY_ONELINE = 0, ///< "/C=US/O=Org/CN=host", at most 1023 characters
    NAME_FORMAT_ONELINE = 1,        ///< "C = US, O = Org, CN = host"
    NAME_FORMAT_RFC2253 = 2         ///< "CN=host,O=Org,C=US", escaped as RFC 2253 says
};

/**
 * A distinguished name. It owns one X509_NAME and shares nothing with its copies. Every constructor leaves a name,
 * an empty one at least; after releaseObject() there is none until reset() or an assignment: comparisons and validate()
 * then say no, and everything else throws CmnException with code 20. One thread at a time per object.
 */
class CMNCRYPTO_API X509Name {
public:
    /** An empty name. @throws CmnException -1 when memory is short */
    X509Name();
    /** A copy of @p name, which stays the caller's; null gives an empty name. @throws CmnException 36 */
    explicit X509Name(const X509_NAME* name);
    /** @throws CmnException 36 when memory is short */
    X509Name(const X509Name& other);
    /** @throws CmnException 36 when memory is short; the object is then as it was */
    X509Name& operator=(const X509Name& other);
    ~X509Name();

    /** @return whether all attributes are equal and in the same order, compared as RFC 5280 says */
    bool operator==(const X509Name& other) const;
    /** As above; a null @p other is equal to nothing. */
    bool operator==(const X509_NAME* other) const;

    /**
     * Appends an attribute as a relative distinguished name of its own.
     * @param field short or long name or dotted number of the attribute: "CN", "commonName", "2.5.4.3"
     * @param value text in ISO 8859-1, not empty
     * @throws CmnException -1 for an unknown field, a value that the attribute does not allow, or a null argument
     */
    void addEntry(const char* field, const char* value);

    /** @return the first commonName, its bytes unconverted; empty when there is none */
    std::string getCommonName() const;
    /** @return the first organizationalUnitName, its bytes unconverted; empty when there is none */
    std::string getOUName() const;
    /**
     * @return the bytes of the first attribute of this kind, unconverted; empty when there is none
     * @throws CmnException 20 for any other field
     */
    std::string getField(nameField field) const;

    /**
     * @return the hash that names files in hashed certificate folders: the first four bytes of the SHA-1 of the
     *         canonical form, little-endian
     * @throws CmnException -1 when it cannot be computed or is 0
     */
    unsigned long getHash() const;

    /**
     * @return the name as text; an empty name is empty text in both print styles, and an unknown style is empty text
     * @throws CmnException 36 when memory is short, -1 when OpenSSL fails
     */
    std::string getNameDN(_name_format format) const;

    /**
     * @param ouOnly compare the first organizationalUnitName of each only: type, length and bytes, without folding;
     *               names without one match nothing, not even themselves
     * @return whether the names match
     */
    bool isMatching(const X509Name& other, bool ouOnly) const;

    /** @return whether the name has an attribute */
    bool validate() const;

    /** Becomes empty. @throws CmnException -1 when memory is short; the object is then as it was */
    void reset();
    /** Gives the name up; harmless when there is none. */
    void releaseObject();

    /** @return the wrapped name, borrowed; null after releaseObject() */
    X509_NAME* getX509Name() const noexcept;

private:
    ASN1_STRING* getFieldAsASN(nameField field) const;

    OpenSslPtr<X509_NAME> m_name;
};

} // namespace CmnCrypto

#endif
