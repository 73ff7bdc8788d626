#include "PassPhrase.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <unistd.h>

#include "Failure.h"
#include "Report.h"

namespace CmnCrypto::Cli {

namespace {

Failure unusable(const std::string& text) {
    return {ExitCode::keyUnusable, text};
}

/** What CmnApi::readStringFromFile() answers for an empty file. */
constexpr int32_t emptyFile = 13;

/** Reads up to 1024 characters. The library's own reading ends at a zero byte without a word. */
Secret readFirstLine(const std::string& name) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(name.c_str(), "re"), &std::fclose);
    // A buffer of the stream's own would not be wiped.
    if (!file || std::setvbuf(file.get(), nullptr, _IONBF, 0) != 0) {
        throw Failure::ofSystem(ExitCode::keyUnusable, name, errno);
    }
    Secret line(1024);
    size_t length = 0;
    for (int next = std::getc(file.get()); next != EOF && next != '\n' && length < line.size();
         next = std::getc(file.get())) {
        line.data()[length++] = static_cast<char>(next);
    }
    if (std::ferror(file.get()) != 0) {
        throw Failure::ofSystem(ExitCode::keyUnusable, name, errno);
    }
    if (length == 0 && std::feof(file.get()) != 0) {
        throw Failure(ExitCode::keyUnusable,
                      name + ": no pass phrase can be read from it (code " + std::to_string(emptyFile) + ")",
                      emptyFile);
    }
    line.shorten(length);
    return line;
}

} // namespace

void warnIfReadableByOthers(const std::string& name, const struct stat& status, bool quiet) {
    if (!quiet && S_ISREG(status.st_mode) && (status.st_mode & (S_IRGRP | S_IROTH)) != 0) {
        printError("warning: " + name + " can be read by others; run: chmod 600 " + name);
    }
}

void warnIfReadableByOthers(const std::string& name, bool quiet) {
    struct stat status = {};
    if (name != "-" && ::stat(name.c_str(), &status) == 0) {
        warnIfReadableByOthers(name, status, quiet);
    }
}

Secret readPassPhrase(const std::string& name, bool quiet) {
    struct stat status = {};
    if (::stat(name.c_str(), &status) != 0 || ::access(name.c_str(), R_OK) != 0) {
        throw Failure::ofSystem(ExitCode::keyUnusable, name, errno);
    }
    if (S_ISDIR(status.st_mode)) {
        throw unusable(name + ": is a folder; name a file");
    }
    Secret phrase = readFirstLine(name);
    if (phrase.size() == 0) {
        throw unusable(name + ": its first line is empty; put the pass phrase there");
    }
    // The library would use the first 1023 characters of a longer line, which nobody expects.
    if (phrase.size() >= 1023) {
        throw unusable(name + ": its first line is too long; a pass phrase has at most 1022 characters");
    }
    if (phrase.text().find('\0') != std::string::npos) {
        throw unusable(name + ": its first line holds a zero byte, as text in UTF-16 does; save it as UTF-8");
    }
    warnIfReadableByOthers(name, status, quiet);
    return phrase;
}

Secret readOptionalPassPhrase(const std::string& name, bool quiet) {
    return name.empty() ? Secret() : readPassPhrase(name, quiet);
}

} // namespace CmnCrypto::Cli
