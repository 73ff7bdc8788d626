#ifndef CMNCRYPTO_TESTLIB_LOG_H
#define CMNCRYPTO_TESTLIB_LOG_H

#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace testlib {

/**
 * Installs both log callbacks (for good: a slot cannot be cleared) and starts with an empty record. A message is
 * kept as "<level> <slot> <function>: <text>", where the slot is "-" for the simple callback, which clogmsg()
 * prefers, and "v<detail>" for the extended one, which clogmsgv() prefers.
 */
void captureLog();

/** @return what was recorded since the last call */
std::vector<std::string> takeLog();

/**
 * Takes the record and compares the messages that begin like the pattern @p prefix with one pattern each, where "*"
 * stands for any text and "#" for a number. A message that shows the error of queueHostError() is like no pattern.
 */
testing::AssertionResult logged(const std::string& prefix, const std::vector<std::string>& patterns);

/** As above, of all messages. */
testing::AssertionResult logged(const std::vector<std::string>& patterns);

/** As above, of the messages at level 16. */
testing::AssertionResult failuresLogged(const std::vector<std::string>& patterns);

/**
 * Runs an operation after the host left an error of its own in OpenSSL's queue, and compares what it throws (see
 * thrown()) and logs at level 16. Its own OpenSSL errors must be gone afterwards.
 */
testing::AssertionResult fails(const std::function<void()>& operation, const std::string& exception,
                               const std::vector<std::string>& failures);

struct Failing {
    std::function<void()> operation;
    std::string exception;
    std::vector<std::string> texts = {}; ///< what it logs; left out: what it throws
};
/** As above, for operations that all log as @p function. */
void fails(const std::string& function, const std::vector<Failing>& rows);

} // namespace testlib

#endif
