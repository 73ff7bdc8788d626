#include "PassPhrase.h"

#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "Failure.h"
#include "Report.h"
#include "cmncrypto/CmnApi.h"

namespace CmnCrypto::Cli {

namespace {

Failure unusable(const std::string& text) {
    return {ExitCode::keyUnusable, text};
}

} // namespace

void warnIfReadableByOthers(const std::string& name, const struct stat& status, bool quiet) {
    if (!quiet && S_ISREG(status.st_mode) && (status.st_mode & (S_IRGRP | S_IROTH)) != 0) {
        printError("warning: " + name + " can be read by others; run: chmod 600 " + name);
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
    Secret phrase(1024);
    const int result = CmnApi::readStringFromFile(name.c_str(), phrase.data(), phrase.size());
    if (result != 0) {
        throw Failure(ExitCode::keyUnusable,
                      name + ": no pass phrase can be read from it (code " + std::to_string(result) + ")", result);
    }
    phrase.shorten(std::strlen(phrase.data()));
    if (phrase.size() == 0) {
        throw unusable(name + ": its first line is empty; put the pass phrase there");
    }
    // The library would use the first 1023 characters of a longer line, which nobody expects.
    if (phrase.size() >= 1023) {
        throw unusable(name + ": its first line is too long; a pass phrase has at most 1022 characters");
    }
    warnIfReadableByOthers(name, status, quiet);
    return phrase;
}

Secret readOptionalPassPhrase(const std::string& name, bool quiet) {
    return name.empty() ? Secret() : readPassPhrase(name, quiet);
}

} // namespace CmnCrypto::Cli
