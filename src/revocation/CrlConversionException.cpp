#include "cmncrypto/CrlConversionException.h"

CrlConversionException::CrlConversionException(int32_t errorCode)
    : m_errorCode(errorCode), m_message("CRL conversion failed. error = " + std::to_string(errorCode)) {}

CrlConversionException::CrlConversionException(const CrlConversionException& other) = default;
CrlConversionException& CrlConversionException::operator=(const CrlConversionException& other) = default;
CrlConversionException::~CrlConversionException() = default;

const char* CrlConversionException::what() const noexcept {
    return m_message.c_str();
}

int32_t CrlConversionException::getErrorCode() const noexcept {
    return m_errorCode;
}
