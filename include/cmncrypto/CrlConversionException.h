/** @file
 * What a constructor of Crl throws.
 */
#ifndef CMNCRYPTO_CRLCONVERSIONEXCEPTION_H
#define CMNCRYPTO_CRLCONVERSIONEXCEPTION_H

#include <cstdint>
#include <exception>
#include <string>

#include "cmncrypto/export.h"

/** Reports a revocation list that could not be brought into one of its forms; it was logged already. */
class CMNCRYPTO_API CrlConversionException : public std::exception {
public:
    /** @param errorCode a code of CrlConverter */
    explicit CrlConversionException(int32_t errorCode);
    CrlConversionException(const CrlConversionException& other);            ///< copies both fields
    CrlConversionException& operator=(const CrlConversionException& other); ///< copies both fields
    ~CrlConversionException() override;

    /** @return "CRL conversion failed. error = " and the code in decimal; valid as long as the object */
    const char* what() const noexcept override;
    /** @return the code */
    int32_t getErrorCode() const noexcept;

private:
    int32_t m_errorCode;
    std::string m_message;
};

#endif
