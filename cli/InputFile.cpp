#include "InputFile.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "Failure.h"

namespace CmnCrypto::Cli {

InputFile::InputFile(const std::string& name)
    : m_name(name), m_file(name == "-" ? STDIN_FILENO : ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)),
      m_status() {
    if (!m_file.isOpen() || ::fstat(m_file.get(), &m_status) != 0) {
        throw Failure::ofSystem(ExitCode::inputUnreadable, name, errno);
    }
    if (S_ISDIR(m_status.st_mode)) {
        throw Failure(ExitCode::inputUnreadable, name + ": is a folder; name a file");
    }
}

size_t InputFile::read(unsigned char* buffer, size_t size) {
    size_t filled = 0;
    while (filled < size) {
        const ssize_t count = ::read(m_file.get(), buffer + filled, size - filled);
        if (count == 0) {
            break;
        }
        if (count > 0) {
            filled += static_cast<size_t>(count);
        } else if (errno != EINTR) {
            throw Failure::ofSystem(ExitCode::inputUnreadable, m_name == "-" ? "standard input" : m_name, errno);
        }
    }
    return filled;
}

std::optional<uint64_t> InputFile::size() const noexcept {
    return S_ISREG(m_status.st_mode) ? std::optional<uint64_t>(m_status.st_size) : std::nullopt;
}

} // namespace CmnCrypto::Cli
