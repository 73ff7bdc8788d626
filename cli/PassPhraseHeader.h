/** @file
 * The start of a stream whose key comes from a pass phrase.
 */
#ifndef CMNCRYPTO_CLI_PASSPHRASEHEADER_H
#define CMNCRYPTO_CLI_PASSPHRASEHEADER_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "InputFile.h"
#include "Secret.h"

namespace CmnCrypto::Cli {

/**
 * Parameters of the key derivation, PBKDF2 with HMAC-SHA-256 (NIST SP 800-132, RFC 8018):
 *
 *     | "CMNCPW01", 8 bytes | iterations, 4 bytes big-endian | salt, 16 bytes |
 */
class PassPhraseHeader {
public:
    static constexpr size_t magicLength = 8;
    static constexpr size_t saltLength = 16;
    static constexpr size_t length = magicLength + 4 + saltLength;
    /** What a new header asks for: as OWASP advises for this function. */
    static constexpr uint32_t defaultIterations = 600000;
    /** Fewer protect nothing, more would let a hostile file keep us busy for long. */
    static constexpr uint32_t minimalIterations = 1000;
    static constexpr uint32_t maximalIterations = 10000000;

    /** A header with a fresh random salt. @throws CmnException 114 */
    static PassPhraseHeader create();

    /** Reads a header. @throws Failure (stream refused) when it is cut short, foreign or out of bounds */
    static PassPhraseHeader read(InputFile& input);

    /** @return whether the bytes begin like such a stream */
    static bool isAtStartOf(const unsigned char* data, size_t size) noexcept;

    /** @return the bytes as they stand in the file */
    std::string toBytes() const;

    /** @return @p size derived bytes @throws Failure (internal) */
    Secret derive(const Secret& passPhrase, size_t size) const;

private:
    PassPhraseHeader() = default;

    uint32_t m_iterations = defaultIterations;
    std::array<unsigned char, saltLength> m_salt = {};
};

} // namespace CmnCrypto::Cli

#endif
