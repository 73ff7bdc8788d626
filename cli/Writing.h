/** @file
 * Complete writes to a descriptor.
 */
#ifndef CMNCRYPTO_CLI_WRITING_H
#define CMNCRYPTO_CLI_WRITING_H

#include <cerrno>
#include <cstddef>
#include <string>

#include "Failure.h"
#include "Files.h"

namespace CmnCrypto::Cli {

/** Ends what cannot go on writing. @throws Failure (output cannot be written), naming @p name */
[[noreturn]] inline void failToWrite(const std::string& name, int error) {
    if (error == EPIPE) {
        throw Failure(ExitCode::outputUnwritable, name + ": the reader has gone");
    }
    throw Failure::ofSystem(ExitCode::outputUnwritable, name, error);
}

/** Writes all bytes. @throws Failure (output cannot be written), naming @p name */
inline void writeFully(int descriptor, const unsigned char* data, size_t size, const std::string& name) {
    while (size > 0) {
        const ptrdiff_t written = writeTo(descriptor, data, size);
        if (written >= 0) {
            data += written;
            size -= static_cast<size_t>(written);
        } else if (errno != EINTR) {
            failToWrite(name, errno);
        }
    }
}

} // namespace CmnCrypto::Cli

#endif
