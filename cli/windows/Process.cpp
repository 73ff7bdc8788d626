#include "Process.h"

#include <cstdlib>
#include <fcntl.h>
#include <io.h>
#include <memory>
// The second one needs the types of the first.
// clang-format off
#include <windows.h>
#include <shellapi.h>
// clang-format on

#include "Files.h"
#include "frame/Wide.h"

namespace CmnCrypto::Cli {

namespace {

/** The console is the caller's, too: it gets back what it had. */
UINT codePageBefore = 0;
DWORD modeBefore = 0;
HANDLE console = INVALID_HANDLE_VALUE;

extern "C" void restoreConsole() {
    if (codePageBefore != 0) {
        ::SetConsoleOutputCP(codePageBefore);
    }
    if (console != INVALID_HANDLE_VALUE) {
        ::SetConsoleMode(console, modeBefore);
    }
}

} // namespace

void prepareStandardStreams() {
    // The C runtime keeps the three numbers taken, whether the caller gave something for them or not.
    for (const int number : {standardInput, standardOutput, standardError}) {
        ::_setmode(number, _O_BINARY);
    }
    codePageBefore = ::GetConsoleOutputCP();
    const HANDLE handle = ::GetStdHandle(STD_ERROR_HANDLE);
    console = ::GetConsoleMode(handle, &modeBefore) != 0 ? handle : INVALID_HANDLE_VALUE;
    ::SetConsoleOutputCP(CP_UTF8);
    std::atexit(&restoreConsole);
}

std::vector<std::string> commandLine(int argc, char** argv) {
    int count = 0;
    const std::unique_ptr<wchar_t*, decltype(&::LocalFree)> words(::CommandLineToArgvW(::GetCommandLineW(), &count),
                                                                  &::LocalFree);
    std::vector<std::string> arguments;
    for (int i = 1; words && i < count; ++i) {
        arguments.push_back(narrow(words.get()[i]));
    }
    return words ? arguments : std::vector<std::string>(argv + 1, argv + argc);
}

void endProcess(int exitCode) noexcept {
    restoreConsole();
    // ExitProcess() would wait for what other threads hold.
    ::TerminateProcess(::GetCurrentProcess(), static_cast<UINT>(exitCode));
    std::abort();
}

} // namespace CmnCrypto::Cli
