/** @file
 * Message digests (FIPS 180-4; MD5: RFC 1321).
 */
#ifndef CMNCRYPTO_HASHGENERATOR_H
#define CMNCRYPTO_HASHGENERATOR_H

#include <cstddef>
#include <string>
#include <vector>

#include "cmncrypto/OpenSslPtr.h"
#include "cmncrypto/export.h"
#include "cmncrypto/types.h"

namespace CmnCrypto {

/**
 * One digest: created for an algorithm, fed any number of times, finished once. Afterwards feeding and
 * finishing throw. One thread at a time per object.
 *
 * Failures are logged and thrown as CmnException with code 114; 8787 is MD5 in FIPS mode.
 */
class CMNCRYPTO_API HashGenerator {
public:
    /** @throws CmnException 114 for an unknown algorithm or when OpenSSL fails, 8787 for MD5 in FIPS mode */
    explicit HashGenerator(_HASH_ALGO algorithm);
    ~HashGenerator();
    HashGenerator(const HashGenerator&) = delete;
    HashGenerator& operator=(const HashGenerator&) = delete;

    /**
     * Feeds bytes, any number of them; none is fine.
     * @throws CmnException 114 when the object is finished, the data are null or OpenSSL fails (the object is
     *         then finished)
     */
    void addData(const void* data, size_t length);

    /**
     * Finishes the digest.
     * @param out is replaced by the raw digest
     * @throws CmnException 114 when the object is finished already or OpenSSL fails
     */
    void generateBinaryHash(std::string& out);
    void generateBinaryHash(std::vector<unsigned char>& out); ///< as the string form

    /** As generateBinaryHash(), in lower-case hexadecimal without separators. */
    void generateHexHash(std::string& out);

    /**
     * Copies the running state into another generator of the same algorithm, so that the digest of a common
     * prefix can go on in two ways.
     * @return 1, or 0 (logged) when the algorithms differ, either object is finished, @p target is null or OpenSSL
     *         fails; the target is then as it was
     */
    int hashContextCopy(HashGenerator* target);

    /** Finishes the object without a digest; harmless when it is finished. */
    void freeHashMemory();

    /**
     * Hashes one buffer in one call.
     * @param data may be null when @p length is 0
     * @param out is replaced by the digest
     * @return true, or false for a null pointer with a length
     * @throws CmnException as the constructor and the operations above
     */
    static bool generateBinaryHashForStr(const char* data, size_t length, _HASH_ALGO algorithm, std::string& out);
    static bool generateHexHashForStr(const char* data, size_t length, _HASH_ALGO algorithm,
                                      std::string& out); ///< as generateBinaryHashForStr(), in hexadecimal
    static bool generateHexHashForStr(const std::string& data, _HASH_ALGO algorithm,
                                      std::string& out); ///< as generateBinaryHashForStr(), in hexadecimal

private:
    OpenSslPtr<EVP_MD_CTX> m_context; // null once finished
    _HASH_ALGO m_algorithm;
};

} // namespace CmnCrypto

#endif
