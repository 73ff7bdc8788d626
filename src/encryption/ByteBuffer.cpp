#include "encryption/ByteBuffer.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <openssl/crypto.h>

#include "encryption/FaultIn.h"

namespace CmnCrypto::Encryption {

namespace {

constexpr unsigned char nothing[1] = {0};

// What a buffer may keep from one stream to the next.
constexpr size_t largestKept = size_t{1} << 20;

// What a large buffer lets the system back at a time.
constexpr size_t backedAtOnce = size_t{2} << 20;

} // namespace

ByteBuffer::~ByteBuffer() {
    wipe();
    std::free(m_data);
}

const unsigned char* ByteBuffer::data() const noexcept {
    return m_data != nullptr ? m_data : nothing;
}

bool ByteBuffer::reserve(size_t more) noexcept {
    if (more > m_capacity - m_size) {
        if (more > SIZE_MAX - m_size) {
            return false;
        }
        // In steps that grow with the contents, so that many small pieces do not cost a move each.
        const size_t needed = m_size + more;
        const size_t generous = m_capacity > SIZE_MAX / 2 ? SIZE_MAX : m_capacity + m_capacity / 2;
        if (!grow(std::max(needed, generous)) && !grow(needed)) {
            return false;
        }
    }
    if (m_capacity > largestKept) {
        back(m_size + more);
    }
    return true;
}

/** Has the system back the memory up to @p needed, in steps, so that little is backed in vain. */
void ByteBuffer::back(size_t needed) noexcept {
    if (m_backed < needed) {
        const size_t step = std::min(std::max(needed - m_backed, backedAtOnce), m_capacity - m_backed);
        faultIn(m_data + m_backed, step);
        m_backed += step;
    }
}

bool ByteBuffer::grow(size_t capacity) noexcept {
    unsigned char* grown = nullptr;
    if (m_secret) {
        grown = static_cast<unsigned char*>(std::malloc(capacity));
        if (grown != nullptr) {
            if (m_size != 0) {
                std::memcpy(grown, m_data, m_size);
            }
            wipe();
            std::free(m_data);
            m_written = 0;
            m_backed = m_size;
        }
    } else {
        grown = static_cast<unsigned char*>(std::realloc(m_data, capacity)); // moves pages where it can
    }
    if (grown == nullptr) {
        return false;
    }
    m_data = grown;
    m_capacity = capacity;
    return true;
}

bool ByteBuffer::append(const unsigned char* bytes, size_t length) noexcept {
    if (length == 0) {
        return true;
    }
    if (!reserve(length)) {
        return false;
    }
    std::memcpy(end(), bytes, length);
    extend(length);
    return true;
}

void ByteBuffer::wipe() noexcept {
    if (m_secret) {
        OPENSSL_cleanse(m_data, std::max(m_size, m_written));
    }
}

void ByteBuffer::clear() noexcept {
    m_written = std::max(m_size, m_written);
    m_size = 0;
}

void ByteBuffer::release() noexcept {
    wipe();
    m_size = 0;
    m_written = 0;
    m_secret = false; // nothing is left that would be
    if (m_capacity > largestKept) {
        std::free(m_data);
        m_data = nullptr;
        m_capacity = 0;
        m_backed = 0;
    }
}

void ByteBuffer::swap(ByteBuffer& other) noexcept {
    std::swap(m_data, other.m_data);
    std::swap(m_size, other.m_size);
    std::swap(m_written, other.m_written);
    std::swap(m_capacity, other.m_capacity);
    std::swap(m_backed, other.m_backed);
    std::swap(m_secret, other.m_secret);
}

} // namespace CmnCrypto::Encryption
