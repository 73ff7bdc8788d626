#include "x509/PassPhrase.h"

#include <algorithm>
#include <cstring>

namespace CmnCrypto {

PassPhrase::~PassPhrase() {
    if (m_asked) {
        OPENSSL_cleanse(m_answer.data(), m_answer.size());
    }
}

int PassPhrase::ask(char* buffer, int size, int writing, void* self) {
    auto& own = *static_cast<PassPhrase*>(self);
    auto& answer = own.m_answer;
    if (!own.m_asked) {
        own.m_asked = true;
        const int capacity = static_cast<int>(answer.size());
        if (own.m_callback != nullptr) {
            const int length = own.m_callback(answer.data(), capacity, writing, own.m_userData);
            own.m_length = length <= capacity ? length : -1;
        } else if (own.m_userData != nullptr) {
            const auto* text = static_cast<const char*>(own.m_userData);
            own.m_length = static_cast<int>(std::min(std::strlen(text), answer.size())); // cut as OpenSSL cuts it
            std::copy_n(text, own.m_length, answer.data());
        }
    }
    if (own.m_length < 0) {
        return -1;
    }
    const int length = std::min(own.m_length, size);
    std::copy_n(answer.data(), length, buffer);
    return length;
}

int refusePassPhrase(char* buffer, int size, int writing, void* userData) noexcept {
    static_cast<void>(buffer);
    static_cast<void>(size);
    static_cast<void>(writing);
    static_cast<void>(userData);
    return -1;
}

} // namespace CmnCrypto
