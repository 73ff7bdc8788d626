#include "Interrupt.h"

#include <mutex>
#include <windows.h>

namespace CmnCrypto::Cli {

namespace {

/** Held by those who hold the signals back. It is never destroyed: a signal may come while the process ends. */
std::recursive_mutex& gate() {
    static auto* const mutex = new std::recursive_mutex;
    return *mutex;
}

/** Called on a thread of its own. */
BOOL WINAPI onControl(DWORD event) {
    {
        const std::lock_guard<std::recursive_mutex> hold(gate());
        handleInterrupt();
    }
    if (event == CTRL_CLOSE_EVENT || event == CTRL_SHUTDOWN_EVENT) {
        ::Sleep(INFINITE); // with the return of this call the process ends; a server is to end by itself
    }
    return TRUE;
}

} // namespace

void catchSignals() {
    gate();
    ::SetConsoleCtrlHandler(&onControl, TRUE);
}

SignalBlock::SignalBlock() noexcept : m_before() {
    gate().lock();
}

SignalBlock::~SignalBlock() {
    gate().unlock();
}

} // namespace CmnCrypto::Cli
