/** @file
 * Known answers in FIPS mode, through the library.
 */
#ifndef CMNCRYPTO_CLI_FIPSSELFTEST_H
#define CMNCRYPTO_CLI_FIPSSELFTEST_H

#include <string>
#include <vector>

namespace CmnCrypto::Cli {

/** One answer. */
struct SelfTestResult {
    std::string name;
    bool passed = false;
};

/**
 * Runs the FIPS provider's own self test, looks whether MD5 is refused, and compares known answers. To be called
 * while FIPS mode is on. What fails for whatever reason has not passed.
 */
std::vector<SelfTestResult> runFipsSelfTest();

} // namespace CmnCrypto::Cli

#endif
