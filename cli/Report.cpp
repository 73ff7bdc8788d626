#include "Report.h"

#include <cerrno>

#include "Files.h"
#include "Interrupt.h"
#include "Printable.h"
#include "Writing.h"

namespace CmnCrypto::Cli {

void printLine(const std::string& text) {
    const std::string line = text + "\n";
    writeFully(standardOutput, reinterpret_cast<const unsigned char*>(line.data()), line.size(), "standard output");
}

std::string jsonText(const Json& document) {
    return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void printJson(const Json& document) {
    printLine(jsonText(document));
}

void addFailure(Json& document, const Failure& failure) {
    document["error"] = failure.what();
    document["code"] = failure.code() == Failure::noCode ? Json() : Json(failure.code());
    document["exit"] = static_cast<int>(failure.exit());
}

void printError(const std::string& text) noexcept {
    try {
        // Names may come from strangers: no escape sequence of theirs reaches the terminal.
        const std::string line =
            (isProgressShown() ? eraseLine : "") + std::string("cmncrypto: ") + printable(text, Backslash::keep) + "\n";
        if (isProgressShown()) {
            setProgressShown(false);
        }
        writeFully(standardError, reinterpret_cast<const unsigned char*>(line.data()), line.size(), "standard error");
    } catch (...) {
        return; // the exit code still tells
    }
}

void closeStandardOutput() {
    if (!finishStandardOutput()) {
        throw Failure::ofSystem(ExitCode::outputUnwritable, "standard output", errno);
    }
}

} // namespace CmnCrypto::Cli
