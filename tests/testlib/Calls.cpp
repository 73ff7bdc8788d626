#include "testlib/Calls.h"

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
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(run(), testing::ExitedWithCode(0), "");
}

} // namespace testlib
