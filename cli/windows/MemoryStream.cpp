#include "MemoryStream.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <io.h>

namespace CmnCrypto::Cli {

/** A pipe that takes everything before anybody reads. */
MemoryStream::MemoryStream(size_t capacity) : m_content(capacity) {
    std::array<int, 2> ends = {-1, -1};
    if (::_pipe(ends.data(), static_cast<unsigned int>(capacity), _O_BINARY | _O_NOINHERIT) != 0) {
        return;
    }
    m_reading = FileDescriptor(ends[0]);
    m_stream.reset(::_fdopen(ends[1], "wb"));
    if (!m_stream) {
        closeFile(ends[1]);
    } else if (std::setvbuf(m_stream.get(), nullptr, _IONBF, 0) != 0) {
        m_stream.reset();
    }
}

Secret MemoryStream::finish() {
    m_stream.reset();
    size_t length = 0;
    ptrdiff_t count = 1;
    while (count > 0 && length < m_content.size()) {
        count = readFrom(m_reading.get(), m_content.data() + length, m_content.size() - length);
        length += count > 0 ? static_cast<size_t>(count) : 0;
    }
    m_content.shorten(count < 0 ? 0 : length);
    return std::move(m_content);
}

} // namespace CmnCrypto::Cli
