/** @file
 * The forms of a certificate revocation list: DER, PEM and OpenSSL's object.
 */
#ifndef CMNCRYPTO_CRLCONVERTER_H
#define CMNCRYPTO_CRLCONVERTER_H

#include <string>
#include <vector>

#include <openssl/types.h>

#include "cmncrypto/export.h"

/** A byte string that knows its length. */
using BinaryData = std::vector<unsigned char>;

/**
 * Converts between the three forms. All members return 0 for success; they log their failures and never throw. They may
 * be called by all threads at once.
 */
class CMNCRYPTO_API CrlConverter {
public:
    CrlConverter() = delete;

    /**
     * Parses one list (RFC 5280, 5); bytes behind its end are ignored.
     * @param der the encoding
     * @param crl receives a new list, to be released with X509_CRL_free(); null after a failure. What it pointed to
     *            before is neither read nor released
     * @return 0; 9301 when the bytes are no list, 36 when memory is short
     */
    static int derToX509Crl(const BinaryData& der, X509_CRL** crl);

    /**
     * Parses the first list of a PEM text ("X509 CRL"), which ends at its first NUL; other blocks before it are passed
     * over. Nothing asks for a pass phrase.
     * @param pem the text
     * @param crl as for derToX509Crl()
     * @return 0; 9301 when there is no list, it is malformed or memory is short
     */
    static int pemToX509Crl(const std::string& pem, X509_CRL** crl);

    /**
     * Writes a list in DER.
     * @param crl stays the caller's
     * @param der receives the encoding; as it was after a failure
     * @return 0; 9300 when the list cannot be written, also for null, 36 when memory is short
     */
    static int x509CrlToDer(X509_CRL* crl, BinaryData& der);

    /**
     * Writes a list as PEM text (RFC 7468), in lines of 64 characters.
     * @param crl stays the caller's
     * @param pem receives the text; as it was after a failure
     * @return 0; 9300 when the list cannot be written, also for null, 36 when memory is short
     */
    static int x509CrlToPem(X509_CRL* crl, std::string& pem);
};

#endif
