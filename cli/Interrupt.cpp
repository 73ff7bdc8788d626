#include "Interrupt.h"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <unistd.h>

#include "Failure.h"

namespace CmnCrypto::Cli {

namespace {

// Read by the handler. The paths change only while the signals are held back.
char temporaryPaths[maximalTemporaryFiles][maximalTemporaryPath + 1];
volatile sig_atomic_t progressShown = 0;
volatile sig_atomic_t reportJson = 0;
std::atomic<int> stopDescriptor{-1};
std::atomic<bool> stopped{false};
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

void writeAll(int descriptor, const char* text) noexcept {
    if (::write(descriptor, text, std::strlen(text)) < 0) {
        return; // nobody is left to tell
    }
}

extern "C" void endProcess(int) {
    if (const int descriptor = stopDescriptor.exchange(-1); descriptor >= 0) {
        const int before = errno;
        stopped = true;
        writeAll(descriptor, "s");
        errno = before;
        return;
    }
    for (const auto& path : temporaryPaths) {
        if (path[0] != '\0') {
            ::unlink(path);
        }
    }
    if (progressShown != 0) {
        writeAll(STDERR_FILENO, eraseLine);
    }
    writeAll(STDERR_FILENO, "cmncrypto: interrupted\n");
    if (reportJson != 0) {
        writeAll(STDOUT_FILENO, "{\"error\":\"interrupted\",\"code\":null,\"exit\":130}\n");
    }
    ::_exit(static_cast<int>(ExitCode::interrupted));
}

sigset_t endingSignals() noexcept {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&signals, number);
    }
    return signals;
}

} // namespace

void installSignalHandlers(bool json) {
    reportJson = json ? 1 : 0;
    struct sigaction action = {};
    action.sa_mask = endingSignals();
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before = {};
        // A signal that the caller ignores stays ignored: nohup relies on it.
        if (sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
            action.sa_handler = endProcess;
            sigaction(number, &action, nullptr);
        }
    }
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
    sigaction(SIGXFSZ, &action, nullptr);
}

void stopOnSignal(int descriptor) noexcept {
    stopped = false;
    stopDescriptor = descriptor;
}

bool stopAsked() noexcept {
    return stopped;
}

SignalBlock::SignalBlock() noexcept : m_before() {
    const sigset_t signals = endingSignals();
    pthread_sigmask(SIG_BLOCK, &signals, &m_before);
}

SignalBlock::~SignalBlock() {
    pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

void addTemporaryFile(const std::string& path) noexcept {
    for (auto& slot : temporaryPaths) {
        if (slot[0] == '\0') {
            std::memcpy(slot, path.c_str(), path.size() + 1);
            return;
        }
    }
}

void removeTemporaryFile(const std::string& path) noexcept {
    for (auto& slot : temporaryPaths) {
        if (path == slot) {
            slot[0] = '\0';
        }
    }
}

void setProgressShown(bool shown) noexcept {
    progressShown = shown ? 1 : 0;
}

bool isProgressShown() noexcept {
    return progressShown != 0;
}

} // namespace CmnCrypto::Cli
