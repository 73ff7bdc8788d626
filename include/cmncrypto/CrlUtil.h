/** @file
 * What surrounds a revocation list: its format, where it can be fetched, whose it is.
 */
#ifndef CMNCRYPTO_CRLUTIL_H
#define CMNCRYPTO_CRLUTIL_H

#include <bitset>
#include <cstdint>
#include <string>
#include <vector>

#include <openssl/types.h>
#include <openssl/x509v3.h>

#include "cmncrypto/export.h"
#include "cmncrypto/types.h"

/** Encoding of a revocation list. */
enum CrlFormat : int32_t {
    CRL_FORMAT_UNKNOWN = 0, ///< neither
    CRL_FORMAT_PEM = 1,     ///< PEM text, "X509 CRL"
    CRL_FORMAT_DER = 2      ///< DER
};

/**
 * Helpers for revocation checking. Nothing throws, nothing is kept, and all threads may call at once. Results of type
 * int are 0 for success; outputs are as they were after a failure, except where a member says otherwise.
 *
 * A file is read once where it is a pipe or device, of which at most 256 MiB are looked at.
 */
class CMNCRYPTO_API CrlUtil {
public:
    CrlUtil() = delete;

    /**
     * Tells whether a file holds a list in DER or in PEM.
     * @param path the file
     * @param format receives the answer; CRL_FORMAT_UNKNOWN, with result 0, when it is neither, and after a failure
     * @return 0; 13 when the file cannot be opened, 36 when memory is short
     */
    static int getCrlFormat(const std::string& path, CrlFormat& format);
    /**
     * As above, for the bytes that a memory BIO has left to read; the BIO is not read from.
     * @return 0; 20 for null, 13 when there are no bytes, 2 GiB or more, or it is no memory BIO, 36
     */
    static int getCrlFormat(BIO* bio, CrlFormat& format);

    /**
     * Reads a list from a file, DER or PEM.
     * @param path the file
     * @param crl receives the list, to be released with X509_CRL_free(); null after a failure
     * @return 0; 20 for a null @p crl, 13 when the file cannot be opened, 7654 when it holds no list, 36
     */
    static int getX509Crl(const std::string& path, X509_CRL** crl);
    /**
     * As above, for the bytes that a memory BIO has left to read; the BIO is not read from.
     * @return 0; 20 for null, 13 when there are no bytes, 2 GiB or more, or it is no memory BIO, 7654, 36
     */
    static int getX509Crl(const BIO* bio, X509_CRL** crl);

    /**
     * The URLs from which the lists for a certificate can be fetched (RFC 5280, 4.2.1.13): those of every distribution
     * point whose lists come from the certificate's issuer and cover all of @p requested.
     * @param certificate the certificate
     * @param requested reasons that a list must cover, bit n as crlReasonFlagNames[n]; none: any list will do
     * @param count receives the number of distribution points, those that were skipped included
     * @param urls receives the "http://" and "https://" URLs, in the certificate's order
     * @return 0, also for a certificate without distribution points or whose extension cannot be decoded as a whole;
     *         -1 when an entry of a distribution point is unreadable, and for null; 36 when memory is short
     */
    static int getHttpURLsFromCertCDPs(const X509* certificate, const std::bitset<9>& requested, unsigned int& count,
                                       std::vector<std::string>& urls);
    /** As getHttpURLsFromCertCDPs(), with the URIs of every scheme. */
    static int getURLsFromCertCDPs(const X509* certificate, const std::bitset<9>& requested, unsigned int& count,
                                   std::vector<std::string>& urls);

    /**
     * Looks for a directoryName in a list of names.
     * @param found receives the answer
     * @return 0; -1 for null arguments and for an entry that cannot be read, when it comes before the name
     */
    static int isMatchingX509NameExists(const STACK_OF(GENERAL_NAME)* names, const X509_NAME* name, bool& found);

    /**
     * Splits an HTTP URL for a client that needs server and port. It is taken for HTTPS when "https" occurs anywhere
     * in it, for HTTP when "http" does; IPv6 literals and user information are not understood.
     * @param url the URL; it needs a "/" behind the server
     * @param server receives the server in lower case; empty after a failure
     * @param port receives the number behind the first ':' of the server, as atoi() reads it, or 443 or 80; -1 after a
     *             failure
     * @return 0; 20 for a malformed URL, 36 when memory is short
     */
    static int parseURL(const std::string& url, std::string& server, int& port);

    /**
     * The certificates whose lists are needed at a check level.
     * @param pemChain PEM text, the leaf first
     * @param level CRL_CHECK_LEAF: the first certificate; CRL_CHECK_CHAIN: all
     * @param certificates receives a new stack, to be released by the caller with its certificates
     * @return 0; 20 for an empty text, any other level or null; 5942 when the text cannot be read; 36, 9307 when memory
     *         is short
     */
    static int getX509CertsToGetCrlsFor(const std::string& pemChain, crl_check_level level,
                                        STACK_OF(X509)** certificates);

    /** @return the hash of the issuer's name in lower-case hexadecimal, not padded: what names the issuer's files in
     *          hashed folders; empty for null */
    static std::string getCertIssuerNameHashInHex(X509* certificate);
    /** @return the serial number in upper-case hexadecimal as BN_bn2hex() writes it: two digits per byte ("0" for
     *          zero), "-" before a negative one; empty for null or when memory is short */
    static std::string getCertSerialNumberInHex(X509* certificate);

    /** @return the product status of an X509_V_ERR_ value: 0, 9314 to 9337, or 9104 for one that is not about lists */
    static int getCrlQxuStatusFromSSLerr(int verifyError);

    /** @return whether nextUpdate has come; true also without nextUpdate and for null */
    static bool isCrlExpired(X509_CRL* crl);

    /** Logs the latest entry of the thread's OpenSSL error queue, if any, under @p function; the entry stays. */
    static void logOpenSSLErrors(const char* function);

private:
    static int getHttpURLsFromDistPointName(const DIST_POINT_NAME* name, std::vector<std::string>& urls);
    static int getURLsFromDistPointName(const DIST_POINT_NAME* name, std::vector<std::string>& urls);
};

#endif
