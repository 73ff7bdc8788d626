#include "LogPrinter.h"

#include <algorithm>
#include <array>

#include "Report.h"
#include "cmncrypto/cmncrypto.h"

namespace CmnCrypto::Cli {

namespace {

struct Level {
    int number;
    const char* name;
};

constexpr int failureLevel = 16;
// From the quietest to the one that shows everything, which is not the order of the numbers.
constexpr std::array<Level, 5> levels = {
    {{0, "none"}, {failureLevel, "failure"}, {8, "warning"}, {2, "info"}, {4, "trace"}}};

const Level* threshold = levels.data();
thread_local std::string first;
thread_local std::string latest; // the library calls back on the thread that failed

int receive(int number, const char* message, const char* function) {
    try {
        if (number == failureLevel) {
            latest = message;
            first = first.empty() ? latest : first;
        }
        const auto* level = std::find_if(levels.begin(), levels.end(),
                                         [number](const Level& candidate) { return candidate.number == number; });
        if (level <= threshold) {
            printError(std::string("[") + level->name + "] " + (function == nullptr ? "" : function) + ": " + message);
        }
    } catch (...) {
        return 0; // a message that cannot be shown is lost
    }
    return 1;
}

} // namespace

std::vector<std::string> logLevelNames() {
    std::vector<std::string> names;
    names.reserve(levels.size());
    for (const Level& level : levels) {
        names.emplace_back(level.name);
    }
    return names;
}

void startLog(const std::string& levelName) {
    for (const Level& level : levels) {
        threshold = levelName == level.name ? &level : threshold;
    }
    // Without a callback the library does not even format its messages.
    if (threshold != levels.data()) {
        captureFailures();
    }
}

void captureFailures() {
    first.clear();
    latest.clear();
    set_log_callback(&receive, nullptr);
}

const std::string& firstFailure() {
    return first;
}

const std::string& latestFailure() {
    return latest;
}

} // namespace CmnCrypto::Cli
