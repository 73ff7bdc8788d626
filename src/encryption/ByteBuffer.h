#ifndef CMNCRYPTO_ENCRYPTION_BYTEBUFFER_H
#define CMNCRYPTO_ENCRYPTION_BYTEBUFFER_H

#include <cstddef>

namespace CmnCrypto::Encryption {

/**
 * Bytes that grow at the end. Memory is not filled before it is written to, and large contents grow by moving
 * pages, not by copying. Nothing throws: an operation that needs memory says whether it got it.
 */
class ByteBuffer {
public:
    ByteBuffer() = default;
    ~ByteBuffer();
    ByteBuffer(const ByteBuffer&) = delete;
    ByteBuffer& operator=(const ByteBuffer&) = delete;

    /** Until release() all memory that held contents is wiped before it is given up. */
    void keepSecret() noexcept { m_secret = true; }

    unsigned char* data() noexcept { return m_data; }
    const unsigned char* data() const noexcept;
    size_t size() const noexcept { return m_size; }

    /** Makes room for @p more bytes behind the contents. */
    [[nodiscard]] bool reserve(size_t more) noexcept;
    unsigned char* end() noexcept { return m_data + m_size; }
    /** Counts bytes that were written to end() as contents; they had been reserved. */
    void extend(size_t written) noexcept { m_size += written; }

    [[nodiscard]] bool append(const unsigned char* bytes, size_t length) noexcept;

    /** Drops the contents, keeping the memory for the next ones, which overwrite it. */
    void clear() noexcept;
    /** Drops the contents for good, wiped if they were secret, and a large memory with them. */
    void release() noexcept;
    void swap(ByteBuffer& other) noexcept;

private:
    bool grow(size_t capacity) noexcept;
    void back(size_t needed) noexcept;
    void wipe() noexcept;

    unsigned char* m_data = nullptr;
    size_t m_size = 0;
    size_t m_written = 0; // what earlier contents reached
    size_t m_capacity = 0;
    size_t m_backed = 0; // how far the memory is known to be backed; counted in large buffers only
    bool m_secret = false;
};

} // namespace CmnCrypto::Encryption

#endif
