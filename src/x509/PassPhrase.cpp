#include "x509/PassPhrase.h"

#include <algorithm>

namespace CmnCrypto {

PassPhrase::~PassPhrase() {
    if (m_asked) {
        OPENSSL_cleanse(m_answer, sizeof m_answer);
    }
}

int PassPhrase::ask(char* buffer, int size, int writing, void* self) {
    auto& own = *static_cast<PassPhrase*>(self);
    if (!own.m_asked) {
        own.m_asked = true;
        constexpr int capacity = sizeof own.m_answer;
        if (own.m_callback != nullptr) {
            const int length = own.m_callback(own.m_answer, capacity, writing, own.m_userData);
            own.m_length = length <= capacity ? length : -1;
        } else {
            const std::string_view text =
                own.m_userData != nullptr ? static_cast<const char*>(own.m_userData) : own.m_text;
            if (own.m_userData != nullptr || !text.empty()) {
                own.m_length = static_cast<int>(text.copy(own.m_answer, sizeof own.m_answer)); // cut as OpenSSL cuts it
            }
        }
    }
    if (own.m_length < 0) {
        return -1;
    }
    const int length = std::min(own.m_length, size);
    std::copy_n(own.m_answer, length, buffer);
    return length;
}

// NOLINTNEXTLINE(readability-non-const-parameter): the type of a pem_password_cb
int refusePassPhrase(char* buffer, int size, int writing, void* userData) noexcept {
    static_cast<void>(buffer);
    static_cast<void>(size);
    static_cast<void>(writing);
    static_cast<void>(userData);
    return -1;
}

} // namespace CmnCrypto
