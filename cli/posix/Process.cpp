#include "Process.h"

#include <fcntl.h>
#include <unistd.h>

namespace CmnCrypto::Cli {

void prepareStandardStreams() {
    // A descriptor that the caller closed would be taken by the first file we open: put a dead one there.
    for (const int number : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(number, F_GETFD) < 0 && ::open("/dev/null", number == STDIN_FILENO ? O_WRONLY : O_RDONLY) < 0) {
            return; // without /dev/null we go on as we are
        }
    }
}

std::vector<std::string> commandLine(int argc, char** argv) {
    return {argv + (argc > 0 ? 1 : 0), argv + argc};
}

void endProcess(int exitCode) noexcept {
    ::_exit(exitCode);
}

} // namespace CmnCrypto::Cli
