#include "testlib/Log.h"

#include <algorithm>
#include <cctype>
#include <mutex>
#include <utility>

#include <openssl/err.h>

#include "cmncrypto/cmncrypto.h"
#include "testlib/Bytes.h"
#include "testlib/Calls.h"

namespace testlib {

namespace {

std::mutex mutex;
std::vector<std::string> record;

int keep(int level, const std::string& slot, const char* message, const char* function) {
    const std::lock_guard<std::mutex> lock(mutex);
    record.push_back(std::to_string(level) + " " + slot + " " + function + ": " + message);
    return 0;
}

int simple(int level, const char* message, const char* function) {
    return keep(level, "-", message, function);
}

int extended(int level, int detail, const char* message, const char* function) {
    return keep(level, "v" + std::to_string(detail), message, function);
}

bool matches(const char* text, const char* pattern) {
    if (*pattern == '*') {
        return matches(text, pattern + 1) || (*text != '\0' && matches(text + 1, pattern));
    }
    if (*pattern == '#') {
        return std::isdigit(static_cast<unsigned char>(*text)) != 0 &&
               (matches(text + 1, pattern + 1) || matches(text + 1, pattern));
    }
    return *text == *pattern && (*text == '\0' || matches(text + 1, pattern + 1));
}

} // namespace

void captureLog() {
    takeLog();
    set_log_callback(simple, extended);
}

std::vector<std::string> takeLog() {
    const std::lock_guard<std::mutex> lock(mutex);
    return std::exchange(record, {});
}

testing::AssertionResult logged(const std::string& prefix, const std::vector<std::string>& patterns) {
    std::vector<std::string> lines = takeLog();
    lines.erase(std::remove_if(lines.begin(), lines.end(),
                               [&](const auto& line) { return !matches(line.c_str(), (prefix + "*").c_str()); }),
                lines.end());
    const auto isLike = [](const std::string& line, const std::string& pattern) {
        return matches(line.c_str(), pattern.c_str()) && line.find(hostErrorMark) == std::string::npos;
    };
    if (std::equal(lines.begin(), lines.end(), patterns.begin(), patterns.end(), isLike)) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << "logged " << testing::PrintToString(lines) << "\nexpected "
                                       << testing::PrintToString(patterns);
}

testing::AssertionResult logged(const std::vector<std::string>& patterns) {
    return logged("", patterns);
}

testing::AssertionResult failuresLogged(const std::vector<std::string>& patterns) {
    return logged("16 ", patterns);
}

testing::AssertionResult fails(const std::function<void()>& operation, const std::string& exception,
                               const std::vector<std::string>& failures) {
    takeLog();
    queueHostError();
    const std::string result = thrown(operation);
    const unsigned long error = ERR_peek_last_error();
    ERR_clear_error();
    if (result != exception || (error != 0 && ERR_GET_LIB(error) != ERR_LIB_USER)) {
        return testing::AssertionFailure() << "threw " << result << ", left OpenSSL's error " << error;
    }
    return failuresLogged(failures);
}

void fails(const std::string& function, const std::vector<Failing>& rows) {
    for (const auto& [operation, exception, texts] : rows) {
        std::vector<std::string> lines = texts;
        if (lines.empty() && !exception.empty()) {
            lines.push_back(exception.substr(exception.find(' ') + 1));
        }
        for (std::string& line : lines) {
            line.insert(0, "16 - " + function + ": ");
        }
        EXPECT_TRUE(fails(operation, exception, lines)) << function;
    }
}

} // namespace testlib
