/** @file
 * Random bytes and numbers from OpenSSL's generator (NIST SP 800-90A).
 */
#ifndef CMNCRYPTO_RANDOMNUMBERGENERATOR_H
#define CMNCRYPTO_RANDOMNUMBERGENERATOR_H

#include "cmncrypto/export.h"
#include "cmncrypto/types.h"

namespace CmnCrypto {

/** Static members only; safe from several threads at once. */
class CMNCRYPTO_API RandomNumberGenerator {
public:
    /**
     * Fills a buffer.
     * @param count number of bytes, 0 or more
     * @return 0
     * @throws CmnException 114 when the generator fails, the count is negative or the buffer null
     */
    static int generateRandomBytes(unsigned char* buffer, int count);

    /**
     * Draws a random number as text. The library's own copies of it are wiped.
     * @param out receives the NUL-terminated text, released by the caller with free()
     * @param count number of random bytes behind the text, 0 or more
     * @return 0
     * @throws CmnException 114 when the generator or an allocation fails or the format is unknown, 20 for a null
     *         @p out
     */
    static int generateRandomNumber(_BIGNUM_CONVERSION format, char** out, int count);
};

} // namespace CmnCrypto

#endif
