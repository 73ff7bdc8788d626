#include "cmncrypto/CmnException.h"

namespace CmnCrypto {

CmnException::CmnException(const std::string& message) : CmnException(message, std::string(), noCode) {}

CmnException::CmnException(const std::string& message, int32_t errorCode)
    : CmnException(message, std::string(), errorCode) {}

CmnException::CmnException(const std::string& message, const std::string& additionalMessage, int32_t errorCode)
    : m_message(message), m_additionalMessage(additionalMessage), m_errorCode(errorCode) {}

CmnException::CmnException(const CmnException& other) = default;
CmnException& CmnException::operator=(const CmnException& other) = default;
CmnException::~CmnException() = default;

const char* CmnException::what() const noexcept {
    return m_message.c_str();
}
const char* CmnException::additional_message() const noexcept {
    return m_additionalMessage.c_str();
}
int32_t CmnException::getErrorCode() const noexcept {
    return m_errorCode;
}

} // namespace CmnCrypto
