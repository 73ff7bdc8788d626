#include "testlib/Calls.h"

#include <iostream>

#include <gtest/gtest.h>

#include "cmncrypto/CmnException.h"

namespace testlib {

std::string thrown(const std::function<void()>& operation) {
    try {
        operation();
    } catch (const CmnCrypto::CmnException& exception) {
        return std::to_string(exception.getErrorCode()) + " " + exception.what();
    } catch (const std::string& text) {
        return "text " + text;
    }
    return "";
}

void inOwnProcess(const std::function<void()>& body) {
    const auto run = [&body] {
        body();
        // The process that waits shows what comes here, and nothing else.
        const testing::TestResult& result = *testing::UnitTest::GetInstance()->current_test_info()->result();
        for (int index = 0; index < result.total_part_count(); ++index) {
            const testing::TestPartResult& part = result.GetTestPartResult(index);
            std::cerr << part.line_number() << ": " << part.message() << '\n';
        }
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

} // namespace testlib
