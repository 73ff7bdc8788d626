#ifndef CMNCRYPTO_X509_FACTORYLOG_H
#define CMNCRYPTO_X509_FACTORYLOG_H

#include <string>

#include "cmncrypto/types.h"
#include "x509/FileContents.h"

namespace CmnCrypto {

/**
 * What an operation on a PEM file tells its caller's logger. That one may use the text as a format, so that a percent
 * sign of the path is doubled.
 */
class FactoryLog {
public:
    FactoryLog(const char* function, const std::string& path, cmncrypto_cert_log_cb logger) noexcept
        : m_function(function), m_path(path), m_logger(logger) {}

    /** Tells "<what>, file [<path>]" and, where OpenSSL has queued some, its errors. @return @p code */
    int failure(int code, const char* what) const;

    /** Tells a text of our own. */
    void message(const char* text) const;

    /** Reads the file. @return 0, or the code of a failure that has been told */
    int open(FileContents& contents, OpenSslPtr<BIO>& pem) const;

private:
    const char* m_function;
    const std::string& m_path;
    cmncrypto_cert_log_cb m_logger;
};

} // namespace CmnCrypto

#endif
