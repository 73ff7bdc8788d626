#include "Interrupt.h"

#include <atomic>
#include <csignal>
#include <cstring>

#include "Failure.h"
#include "Files.h"
#include "Process.h"
#include "ServerEvents.h"

namespace CmnCrypto::Cli {

namespace {

// Read by the handler. The paths change only while the signals are held back.
char temporaryPaths[maximalTemporaryFiles][maximalTemporaryPath + 1];
volatile std::sig_atomic_t progressShown = 0;
volatile std::sig_atomic_t reportJson = 0;
std::atomic<ServerEvents*> waiting{nullptr};
std::atomic<bool> stopped{false};
static_assert(std::atomic<ServerEvents*>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

void writeAll(int descriptor, const char* text) noexcept {
    if (writeTo(descriptor, text, std::strlen(text)) < 0) {
        return; // nobody is left to tell
    }
}

} // namespace

void handleInterrupt() noexcept {
    if (ServerEvents* const events = waiting.exchange(nullptr); events != nullptr) {
        stopped = true;
        events->wake();
        return;
    }
    for (const auto& path : temporaryPaths) {
        if (path[0] != '\0') {
            removeFile(path);
        }
    }
    if (progressShown != 0) {
        writeAll(standardError, eraseLine);
    }
    writeAll(standardError, "cmncrypto: interrupted\n");
    if (reportJson != 0) {
        writeAll(standardOutput, "{\"error\":\"interrupted\",\"code\":null,\"exit\":130}\n");
    }
    endProcess(static_cast<int>(ExitCode::interrupted));
}

void installSignalHandlers(bool json) {
    reportJson = json ? 1 : 0;
    catchSignals();
}

void stopOnSignal(ServerEvents* events) noexcept {
    const SignalBlock block; // a handler on a thread of its own may still hold the last ones
    stopped = false;
    waiting = events;
}

bool stopAsked() noexcept {
    return stopped;
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
