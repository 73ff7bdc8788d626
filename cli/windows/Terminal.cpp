#include "Terminal.h"

#include "Files.h"
#include "Handle.h"

namespace CmnCrypto::Cli {

bool isTerminal(int descriptor) noexcept {
    DWORD mode = 0; // which consoles alone have, not all devices
    return ::GetConsoleMode(handleOf(descriptor), &mode) != 0;
}

bool canRewriteLines() noexcept {
    DWORD mode = 0;
    const HANDLE handle = handleOf(standardError);
    return ::GetConsoleMode(handle, &mode) != 0 &&
           ::SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING) != 0;
}

size_t terminalWidth() noexcept {
    CONSOLE_SCREEN_BUFFER_INFO info = {};
    const bool known = ::GetConsoleScreenBufferInfo(handleOf(standardError), &info) != 0;
    const int width = info.srWindow.Right - info.srWindow.Left + 1;
    return known && width > 0 ? static_cast<size_t>(width) : 80;
}

} // namespace CmnCrypto::Cli
