/** @file
 * A file or standard input, read in pieces.
 */
#ifndef CMNCRYPTO_CLI_INPUTFILE_H
#define CMNCRYPTO_CLI_INPUTFILE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "FileDescriptor.h"

namespace CmnCrypto::Cli {

class InputFile {
public:
    /** How much the commands read at a time: memory stays the same whatever the size of the input. */
    static constexpr size_t pieceSize = size_t{256} * 1024;

    /** Opens a file, or standard input for "-". @throws Failure (input cannot be read), also for a folder */
    explicit InputFile(const std::string& name);

    /**
     * Reads until the buffer is full or the input ends.
     * @return the number of bytes, less than @p size only at the end @throws Failure
     */
    size_t read(unsigned char* buffer, size_t size);

    /** @return "-" or the name of the file */
    const std::string& name() const noexcept { return m_name; }
    /** @return the size of a regular file, nothing for a pipe or a device */
    std::optional<uint64_t> size() const noexcept;
    /** @return what the system says about the opened file */
    const FileStatus& status() const noexcept { return m_status; }

private:
    std::string m_name;
    FileDescriptor m_file;
    FileStatus m_status;
};

} // namespace CmnCrypto::Cli

#endif
