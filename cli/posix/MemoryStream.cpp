#include "MemoryStream.h"

namespace CmnCrypto::Cli {

MemoryStream::MemoryStream(size_t capacity)
    : m_content(capacity), m_stream(fmemopen(m_content.data(), m_content.size(), "w")) {
    if (m_stream && std::setvbuf(m_stream.get(), nullptr, _IONBF, 0) != 0) {
        m_stream.reset();
    }
}

Secret MemoryStream::finish() {
    const long length = std::ftell(m_stream.get());
    m_stream.reset();
    m_content.shorten(length < 0 ? 0 : static_cast<size_t>(length));
    return std::move(m_content);
}

} // namespace CmnCrypto::Cli
