/** @file
 * Pass phrases: from a file, never from the command line, where other users could see them.
 */
#ifndef CMNCRYPTO_CLI_PASSPHRASE_H
#define CMNCRYPTO_CLI_PASSPHRASE_H

#include <string>

#include "Files.h"
#include "Secret.h"

namespace CmnCrypto::Cli {

/**
 * Reads the first line of a file, 1 to 1022 characters.
 * @param quiet no warning when others can read the file
 * @throws Failure (key unusable)
 */
Secret readPassPhrase(const std::string& name, bool quiet);

/** Reads the pass phrase, or gives an empty one for an empty name. @throws Failure (key unusable) */
Secret readOptionalPassPhrase(const std::string& name, bool quiet);

/** Warns of a file with a secret that is open to others. */
void warnIfReadableByOthers(const std::string& name, const FileStatus& status, bool quiet);
/** As above, for a file that is not open; "-" is none. */
void warnIfReadableByOthers(const std::string& name, bool quiet);

} // namespace CmnCrypto::Cli

#endif
