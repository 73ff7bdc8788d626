/** @file
 * Takes one stream through a crypter.
 */
#ifndef CMNCRYPTO_CLI_CRYPTSTREAM_H
#define CMNCRYPTO_CLI_CRYPTSTREAM_H

#include <cstdint>
#include <memory>
#include <string>

#include "InputFile.h"
#include "OutputFile.h"
#include "StreamKey.h"
#include "cmncrypto/KSCrypt.h"

namespace CmnCrypto::Cli {

enum class Direction { encrypt, decrypt };

class CryptStream {
public:
    /** Starts a stream; the header of the key, if any, is authenticated where the cipher can. @throws Failure */
    CryptStream(Direction direction, Encryption::KSCrypt::CryptType type, const StreamKey& key, InputFile& input,
                OutputFile& output);

    /** Adds authenticated data, possibly none. @throws Failure (internal) */
    void addAuthenticatedData(const std::string& data);
    /** Adds the content of a file. @throws Failure (input cannot be read, internal) */
    void addAuthenticatedFile(const std::string& name);

    /** Reads the input to its end and writes everything to the output. @throws Failure */
    void run(bool showProgress);

    /** @return bytes taken from the input, header included */
    uint64_t bytesIn() const noexcept { return m_bytesIn; }
    /** @return bytes given to the output, header included */
    uint64_t bytesOut() const noexcept { return m_bytesOut; }

private:
    void authenticate(const unsigned char* data, size_t size);
    void feed(const unsigned char* data, size_t size, bool final);
    void takeOutput(bool showProgress);
    void write(const unsigned char* data, size_t size);
    void refuse(int status, bool final) const;

    Direction m_direction;
    Encryption::KSCrypt::CryptType m_type;
    InputFile& m_input;
    OutputFile& m_output;
    std::unique_ptr<Encryption::KSCrypt> m_crypter;
    std::string m_header;
    uint64_t m_bytesIn = 0;
    uint64_t m_bytesOut = 0;
    bool m_looksLikePassPhrase = false;
};

} // namespace CmnCrypto::Cli

#endif
