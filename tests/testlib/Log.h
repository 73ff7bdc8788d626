#ifndef CMNCRYPTO_TESTLIB_LOG_H
#define CMNCRYPTO_TESTLIB_LOG_H

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
 * Takes the record and compares the messages that begin with @p prefix with one pattern each, where "*" stands for
 * any text and "#" for a number. A message that shows the error of queueHostError() is like no pattern.
 */
testing::AssertionResult logged(const std::string& prefix, const std::vector<std::string>& patterns);

/** As above, of all messages. */
testing::AssertionResult logged(const std::vector<std::string>& patterns);

/** As above, of the messages at level 16. */
testing::AssertionResult failuresLogged(const std::vector<std::string>& patterns);

} // namespace testlib

#endif
