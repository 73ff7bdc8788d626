#include "InputFile.h"

#include <cerrno>

#include "Failure.h"

namespace CmnCrypto::Cli {

InputFile::InputFile(const std::string& name) : m_name(name), m_file(name == "-" ? standardInput : openToRead(name)) {
    if (!m_file.isOpen() || !statusOf(m_file.get(), m_status)) {
        throw Failure::ofSystem(ExitCode::inputUnreadable, name, errno);
    }
    if (m_status.kind == FileKind::folder) {
        throw Failure(ExitCode::inputUnreadable, name + ": is a folder; name a file");
    }
}

size_t InputFile::read(unsigned char* buffer, size_t size) {
    size_t filled = 0;
    while (filled < size) {
        const ptrdiff_t count = readFrom(m_file.get(), buffer + filled, size - filled);
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
    return m_status.kind == FileKind::regular ? std::optional<uint64_t>(m_status.size) : std::nullopt;
}

} // namespace CmnCrypto::Cli
