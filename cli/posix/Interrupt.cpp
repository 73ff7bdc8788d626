#include "Interrupt.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <pthread.h>

namespace CmnCrypto::Cli {

namespace {

extern "C" void onSignal(int) {
    const int before = errno;
    handleInterrupt();
    errno = before;
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

void catchSignals() {
    struct sigaction action = {};
    action.sa_mask = endingSignals();
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction before = {};
        // A signal that the caller ignores stays ignored: nohup relies on it.
        if (sigaction(number, nullptr, &before) == 0 && before.sa_handler != SIG_IGN) {
            action.sa_handler = onSignal;
            sigaction(number, &action, nullptr);
        }
    }
    action.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &action, nullptr);
    sigaction(SIGXFSZ, &action, nullptr);
}

SignalBlock::SignalBlock() noexcept : m_before() {
    static_assert(sizeof(sigset_t) <= sizeof m_before);
    const sigset_t signals = endingSignals();
    sigset_t before;
    pthread_sigmask(SIG_BLOCK, &signals, &before);
    std::memcpy(m_before.data(), &before, sizeof before);
}

SignalBlock::~SignalBlock() {
    sigset_t before;
    std::memcpy(&before, m_before.data(), sizeof before);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

} // namespace CmnCrypto::Cli
