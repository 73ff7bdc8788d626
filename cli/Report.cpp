#include "Report.h"

#include <cerrno>
#include <unistd.h>

#include "FileDescriptor.h"
#include "Interrupt.h"
#include "Writing.h"

namespace CmnCrypto::Cli {

void printLine(const std::string& text) {
    const std::string line = text + "\n";
    writeFully(STDOUT_FILENO, reinterpret_cast<const unsigned char*>(line.data()), line.size(), "standard output");
}

void printJson(const Json& document) {
    printLine(document.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void addFailure(Json& document, const Failure& failure) {
    document["error"] = failure.what();
    document["code"] = failure.code() == Failure::noCode ? Json() : Json(failure.code());
    document["exit"] = static_cast<int>(failure.exit());
}

void printError(const std::string& text) noexcept {
    try {
        std::string line = "cmncrypto: " + text;
        for (char& character : line) {
            // Names may come from strangers: no escape sequence of theirs reaches the terminal.
            const auto value = static_cast<unsigned char>(character);
            character = value < 0x20 || value == 0x7f ? '?' : character;
        }
        line = (isProgressShown() ? eraseLine : "") + line + "\n";
        setProgressShown(false);
        writeFully(STDERR_FILENO, reinterpret_cast<const unsigned char*>(line.data()), line.size(), "standard error");
    } catch (...) {
        return; // the exit code still tells
    }
}

void closeStandardOutput() {
    if (::close(STDOUT_FILENO) != 0) {
        throw Failure::ofSystem(ExitCode::outputUnwritable, "standard output", errno);
    }
}

} // namespace CmnCrypto::Cli
