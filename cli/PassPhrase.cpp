#include "PassPhrase.h"

#include <cerrno>

#include "Failure.h"
#include "FileDescriptor.h"
#include "Report.h"

namespace CmnCrypto::Cli {

namespace {

Failure unusablePassPhrase(const std::string& text) {
    return {ExitCode::keyUnusable, text};
}

/** What CmnApi::readStringFromFile() answers for an empty file. */
constexpr int32_t emptyFile = 13;

/** Reads up to 1024 characters. The library's own reading ends at a zero byte without a word. */
Secret readFirstLine(const std::string& name) {
    const FileDescriptor file(openToRead(name));
    if (!file.isOpen()) {
        throw Failure::ofSystem(ExitCode::keyUnusable, name, errno);
    }
    Secret line(1024);
    size_t length = 0;
    bool ended = false;
    while (length < line.size()) {
        const ptrdiff_t count = readFrom(file.get(), line.data() + length, 1); // so that a pipe keeps what follows
        if (count < 0 && errno != EINTR) {
            throw Failure::ofSystem(ExitCode::keyUnusable, name, errno);
        }
        ended = count == 0;
        if (ended || (count > 0 && line.data()[length] == '\n')) {
            break;
        }
        length += count > 0 ? 1 : 0;
    }
    if (length == 0 && ended) {
        throw Failure(ExitCode::keyUnusable,
                      name + ": no pass phrase can be read from it (code " + std::to_string(emptyFile) + ")",
                      emptyFile);
    }
    line.shorten(length);
    return line;
}

} // namespace

void warnIfReadableByOthers(const std::string& name, const FileStatus& status, bool quiet) {
    if (!quiet && status.kind == FileKind::regular && status.readableByOthers) {
        printError("warning: " + name + " can be read by others; run: chmod 600 " + name);
    }
}

void warnIfReadableByOthers(const std::string& name, bool quiet) {
    FileStatus status;
    if (name != "-" && statusOf(name, status)) {
        warnIfReadableByOthers(name, status, quiet);
    }
}

Secret readPassPhrase(const std::string& name, bool quiet) {
    FileStatus status;
    if (!statusOf(name, status)) {
        throw Failure::ofSystem(ExitCode::keyUnusable, name, errno);
    }
    if (status.kind == FileKind::folder) {
        throw unusablePassPhrase(name + ": is a folder; name a file");
    }
    Secret phrase = readFirstLine(name);
    if (phrase.size() == 0) {
        throw unusablePassPhrase(name + ": its first line is empty; put the pass phrase there");
    }
    // The library would use the first 1023 characters of a longer line, which nobody expects.
    if (phrase.size() >= 1023) {
        throw unusablePassPhrase(name + ": its first line is too long; a pass phrase has at most 1022 characters");
    }
    if (phrase.text().find('\0') != std::string::npos) {
        throw unusablePassPhrase(name + ": its first line holds a zero byte, as text in UTF-16 does; save it as UTF-8");
    }
    warnIfReadableByOthers(name, status, quiet);
    return phrase;
}

Secret readOptionalPassPhrase(const std::string& name, bool quiet) {
    return name.empty() ? Secret() : readPassPhrase(name, quiet);
}

} // namespace CmnCrypto::Cli
