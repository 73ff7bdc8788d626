#ifndef CMNCRYPTO_X509_PEMFILE_H
#define CMNCRYPTO_X509_PEMFILE_H

#include <new>
#include <string>
#include <type_traits>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/types.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"
#include "x509/FileContents.h"

namespace CmnCrypto {

/**
 * What an operation on a PEM file tells its caller's logger. That one may use the text as a format, so that a percent
 * sign of the path is doubled.
 */
class PemFileLog {
public:
    PemFileLog(const char* function, const std::string& path, cmncrypto_cert_log_cb logger) noexcept
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

/**
 * Runs @p body on a PEM file in memory, with an error queue that is empty before and after.
 * @param output where the body's result goes; null is refused
 * @return what the body returns, or the code of a failure that has been told
 */
template <class Output, class Body> int onPemFile(const PemFileLog& log, Output* output, Body&& body) try {
    const ossl::ErrorScope errors;
    if (output == nullptr) {
        return log.failure(codeInvalidArgument, "Invalid argument");
    }
    if constexpr (std::is_pointer_v<Output>) { // an object of ours; a plain number stays as it is
        *output = nullptr;
    }
    CmnApi::initOpenssl();
    FileContents contents;
    OpenSslPtr<BIO> pem;
    const int result = log.open(contents, pem);
    return result == 0 ? body(pem.get()) : result;
} catch (const std::bad_alloc&) {
    log.message("Failed to allocate memory");
    return codeNoMemory;
}

} // namespace CmnCrypto

#endif
