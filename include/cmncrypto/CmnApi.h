/** @file
 * Start-up, FIPS mode and the small conversions that the certificate, CRL and TLS code share.
 */
#ifndef CMNCRYPTO_CMNAPI_H
#define CMNCRYPTO_CMNAPI_H

#include <cstddef>
#include <ctime>
#include <string>
#include <vector>

#include <openssl/types.h>

#include "cmncrypto/export.h"
#include "cmncrypto/types.h"

namespace CmnCrypto {

/**
 * Empties the calling thread's OpenSSL error queue into one line: "Error - (code: text)" for each entry, joined
 * by ", ", or "No error details available.". Codes are decimal.
 */
CMNCRYPTO_API std::string getAndClearSslErrStack();

/**
 * Static members only. Nothing here throws unless it says so. Safe from several threads at once, except for
 * initialize().
 */
class CMNCRYPTO_API CmnApi {
public:
    /** Starts OpenSSL once per process. Entry points that need it call it themselves. */
    static void initOpenssl();

    /**
     * Starts OpenSSL and brings FIPS mode to the requested value. May be called again to switch; no other thread
     * may use the library meanwhile. Digests and ciphers are looked up anew after each call, by existing crypters
     * from their next reset on; a thread that has drawn random numbers before goes on with the generator that it has.
     * @param fipsMode 0 off, non-zero on; the outcome is what getFIPSMode() says afterwards
     */
    static void initialize(int fipsMode);

    /** @return 1 while OpenSSL's default algorithms are restricted to FIPS ones, otherwise 0 */
    static int getFIPSMode();

    /** Tries MD5. @return 1 when it is refused, 0 when it works or could not be tried */
    static int testFipsCompliance();

    /** @return the digests offered to people: SHA256, then SHA1 */
    static std::vector<_HASH_ALGO_MAP_STRUCT> getValidHashAlgoList();

    /**
     * Base64 (RFC 4648) on one line, with padding.
     * @param length number of bytes; 0 gives an empty text
     * @throws std::string (not a CmnException) "Could not write data to be encoded", when OpenSSL fails, the length
     *         is negative or the data are null
     */
    static std::string B64Encode(const unsigned char* data, int length);

    /**
     * Decodes Base64 text that stands on one line.
     * @param out receives a new buffer, released by the caller with free(); set on success only
     * @param outLength receives the number of bytes, 0 or negative for text that is not Base64
     * @throws std::bad_alloc when memory is short or the text is longer than an int can count
     */
    static void B64Decode(const std::string& text, unsigned char*& out, int& outLength);

    /** @return lower-case hexadecimal, two digits per byte, no separator */
    static std::string binToHex(const std::string& bytes);

    /**
     * Upper-case hexadecimal, two digits per byte, bytes separated by ":": the form of a fingerprint. The text is
     * logged at level 2, so this is not for secrets.
     * @param out is replaced
     */
    static void hexToString(const unsigned char* data, unsigned int length, std::string& out);

    /** @param address 16 bytes. @return eight groups joined by ":", never shortened; empty for a null address */
    static std::string IPV6_to_string(const unsigned char* address);

    /**
     * Parses the text of a certificate time as OpenSSL prints it, "Mmm dd hh:mm:ss yyyy GMT": 24 characters with
     * month, numbers (digits or blanks) and zone in their columns; what stands between them is not looked at.
     * @param out receives month, day, time and year; day of week and of year stay as they were
     * @return 0, or 5964 for any other text
     */
    static int convertSSLTime(tm* out, const char* text);

    /** @return the time with a two-digit day ("Mar 05 ..."), empty for a text that convertSSLTime() refuses */
    static std::string convertCertTimeToTMString(const std::string& text);

    /** @return 0 to 11 for "Jan" to "Dec" (exactly so), 109 for anything else */
    static int resolve_month(const char* name);

    /**
     * Reads a pass phrase: the first line of a text file, at most 1023 characters, without its line feed (a
     * carriage return stays). The library's own copy is wiped.
     * @param out receives at most @p outSize - 1 characters and a NUL; untouched when nothing was read
     * @return 0; 12 the file cannot be opened; 13 it cannot be read or is empty; 15 it cannot be closed
     */
    static int readStringFromFile(const char* path, char* out, size_t outSize);

    /**
     * Bounded copy: at most @p size - 1 characters and a NUL. Nothing happens when an argument is null or 0.
     * @return the number of characters copied (not the length of @p src)
     */
    static size_t V_strlcpy(char* dst, const char* src, size_t size);

    /** @return the bytes of the string as they are, without conversion; empty for null or a string without data */
    static std::string ASN1_STRING_to_string(const ASN1_STRING* value);

    /**
     * @return the bytes as one big-endian unsigned integer in decimal, "0" for nothing. The time grows with the
     *         square of the length.
     * @throws std::bad_alloc when memory is short
     */
    static std::string bytesArrayToDecStr(const unsigned char* data, unsigned int length);

    /**
     * Logs a failure of certificate code at level 16.
     * @param message is used as the format itself, so that it must hold no live percent sign: pass only texts
     *                that you built yourself
     */
    static void cert_util_logger(const char* function, const char* message);
};

} // namespace CmnCrypto

#endif
