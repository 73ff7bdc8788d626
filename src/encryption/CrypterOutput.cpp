#include "encryption/CrypterOutput.h"

#include <utility>

#include "encryption/CrypterStatus.h"

namespace CmnCrypto::Encryption {

void CrypterOutput::begin() noexcept {
    if (m_handedOut) {
        bytes.clear();
        m_handedOut = false;
    }
}

void CrypterOutput::reset() noexcept {
    bytes.release();
    m_handedOut = false;
}

int CrypterOutput::handOut(int error, const unsigned char** data, size_t* length) noexcept {
    if (data == nullptr || length == nullptr) {
        return statusRefused;
    }
    *data = nullptr;
    *length = 0;
    if (error != statusDone) {
        return statusFailed;
    }
    begin(); // a second get in a row gives nothing
    *data = std::as_const(bytes).data();
    *length = bytes.size();
    m_handedOut = true;
    return statusDone;
}

} // namespace CmnCrypto::Encryption
