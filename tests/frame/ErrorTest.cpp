#include <cerrno>

#include <openssl/err.h>

#include "testlib/Testlib.h"

namespace {

/** The expected text of one queued error, out of OpenSSL's own rendering. */
std::string group(unsigned long code) {
    char text[1024];
    ERR_error_string_n(code, text, sizeof text);
    return "Error - (" + std::to_string(code) + ": " + text + ")";
}

TEST(SslErrors, QueueBecomesOneLineAndIsEmptied) {
    const std::string none = "No error details available.";
    ERR_clear_error();
    EXPECT_EQ(getAndClearSslErrStack(), none);

    ERR_raise(ERR_LIB_EVP, ERR_R_MALLOC_FAILURE);
    const unsigned long first = ERR_peek_last_error();
    EXPECT_EQ(getAndClearSslErrStack(), group(first));
    EXPECT_EQ(getAndClearSslErrStack(), none);

    ERR_raise(ERR_LIB_EVP, ERR_R_MALLOC_FAILURE);
    ERR_raise_data(ERR_LIB_SYS, ENOENT, "a file"); // above 2^31
    const unsigned long second = ERR_peek_last_error();
    EXPECT_EQ(getAndClearSslErrStack(), group(first) + ", " + group(second));
    EXPECT_EQ(getAndClearSslErrStack(), none);
}

void expectFields(const CmnException& exception, const std::string& message, const std::string& additional, int code) {
    EXPECT_EQ(exception.what(), message);
    EXPECT_EQ(static_cast<const std::exception&>(exception).what(), message);
    EXPECT_EQ(exception.additional_message(), additional);
    EXPECT_EQ(exception.getErrorCode(), code);
}

TEST(Exception, EveryConstructorAndCopy) {
    expectFields(CmnException("x"), "x", "", -1);
    expectFields(CmnException("x", 114), "x", "", 114);
    const CmnException full("x", "more", 0);
    expectFields(full, "x", "more", 0);
    const CmnException copy(full);
    expectFields(copy, "x", "more", 0);
    CmnException assigned("y");
    assigned = full;
    expectFields(assigned, "x", "more", 0);
}

TEST(CertUtilLogger, TextIsTheFormat) {
    captureLog();
    CmnApi::cert_util_logger("someFunction", "a plain text");
    CmnApi::cert_util_logger("someFunction", "100%% of it");
    CmnApi::cert_util_logger("someFunction", "");
    EXPECT_TRUE(logged({"16 - someFunction: a plain text", "16 - someFunction: 100% of it", "16 - someFunction: "}));
}

} // namespace
