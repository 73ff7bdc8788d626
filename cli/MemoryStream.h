/** @file
 * A C stream into memory.
 */
#ifndef CMNCRYPTO_CLI_MEMORYSTREAM_H
#define CMNCRYPTO_CLI_MEMORYSTREAM_H

#include <cstdio>
#include <memory>

#include "FileDescriptor.h"
#include "Secret.h"

namespace CmnCrypto::Cli {

/** Collects what is written to a stream, without a buffer that would not be wiped, and never on a disk. */
class MemoryStream {
public:
    /** @param capacity bytes that it can take */
    explicit MemoryStream(size_t capacity);

    /** @return null when there is none */
    std::FILE* stream() const noexcept { return m_stream.get(); }
    /** Closes the stream. @return what was written; nothing when that cannot be told */
    Secret finish();

private:
    struct Closer {
        void operator()(std::FILE* file) const noexcept { static_cast<void>(std::fclose(file)); }
    };

    Secret m_content;
    FileDescriptor m_reading; ///< where the system has no streams into memory
    std::unique_ptr<std::FILE, Closer> m_stream;
};

} // namespace CmnCrypto::Cli

#endif
