/** @file
 * The exception of every class of the library.
 */
#ifndef CMNCRYPTO_CMNEXCEPTION_H
#define CMNCRYPTO_CMNEXCEPTION_H

#include <cstdint>
#include <exception>
#include <string>

#include "cmncrypto/export.h"

namespace CmnCrypto {

/**
 * Reports a failure that was logged already: a message, an optional second text (an OpenSSL error line, for
 * example) and a product status code.
 */
class CMNCRYPTO_API CmnException : public std::exception {
public:
    /** The code of an exception whose thrower gave none. */
    static constexpr int32_t noCode = -1;

    /** Code -1, no additional message. */
    explicit CmnException(const std::string& message);
    /** No additional message. */
    CmnException(const std::string& message, int32_t errorCode);
    /** All three. */
    CmnException(const std::string& message, const std::string& additionalMessage, int32_t errorCode);

    CmnException(const CmnException& other);            ///< copies all three fields
    CmnException& operator=(const CmnException& other); ///< copies all three fields
    ~CmnException() override;

    /** @return the message; valid as long as the object */
    const char* what() const noexcept override;
    /** @return the additional message, empty when none was given; valid as long as the object */
    const char* additional_message() const noexcept;
    /** @return the product status code, -1 when none was given */
    int32_t getErrorCode() const noexcept;

private:
    std::string m_message;
    std::string m_additionalMessage;
    int32_t m_errorCode;
};

} // namespace CmnCrypto

#endif
