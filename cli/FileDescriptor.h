/** @file
 * Owner of a file descriptor.
 */
#ifndef CMNCRYPTO_CLI_FILEDESCRIPTOR_H
#define CMNCRYPTO_CLI_FILEDESCRIPTOR_H

#include <utility>

#include "Files.h"

namespace CmnCrypto::Cli {

/** Closes its descriptor, except for the three standard ones, which belong to the process. */
class FileDescriptor {
public:
    explicit FileDescriptor(int number = -1) noexcept : m_number(number) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(m_number, other.m_number);
        return *this;
    }
    ~FileDescriptor() {
        if (m_number > standardError) {
            closeFile(m_number);
        }
    }

    int get() const noexcept { return m_number; }
    bool isOpen() const noexcept { return m_number >= 0; }

    /** Closes any descriptor at once, for those who want to know. @return false with errno set */
    bool close() noexcept { return closeFile(std::exchange(m_number, -1)); }

private:
    int m_number;
};

} // namespace CmnCrypto::Cli

#endif
