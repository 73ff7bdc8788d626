#include "Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include "Files.h"

namespace CmnCrypto::Cli {

bool isTerminal(int descriptor) noexcept {
    return ::isatty(descriptor) == 1;
}

bool canRewriteLines() noexcept {
    return isTerminal(standardError);
}

size_t terminalWidth() noexcept {
    struct winsize size = {};
    return ::ioctl(standardError, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

} // namespace CmnCrypto::Cli
