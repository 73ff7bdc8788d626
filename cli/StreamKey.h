/** @file
 * Keys of streams: from a key file or derived from a pass phrase.
 */
#ifndef CMNCRYPTO_CLI_STREAMKEY_H
#define CMNCRYPTO_CLI_STREAMKEY_H

#include <string>

#include "InputFile.h"
#include "Secret.h"
#include "cmncrypto/KSCrypt.h"

namespace CmnCrypto::Cli {

/** What was given on the command line; empty texts stand for what was not. */
struct KeyOptions {
    Encryption::KSCrypt::CryptType type = Encryption::KSCrypt::AES_256_GCM;
    std::string keyFile;
    std::string passFile;
    std::string iv; ///< hexadecimal
    bool quiet = false;
};

/** Key, IV where the cipher takes one, and the header that leads a stream made with a pass phrase. */
struct StreamKey {
    Secret key;
    Secret iv;
    std::string header;
};

/**
 * Reads or derives the key.
 * @param encrypted the stream to decrypt, whose header is read where there is a pass phrase; null to encrypt
 * @throws Failure (key unusable, stream refused)
 */
StreamKey obtainStreamKey(const KeyOptions& options, InputFile* encrypted);

} // namespace CmnCrypto::Cli

#endif
