#include "LineOutput.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <unistd.h>

#include "Writing.h"

namespace CmnCrypto::Cli {

namespace {

constexpr size_t mostWaiting = size_t{1} << 20;

} // namespace

void LineOutput::add(const std::string& line, bool last) {
    if (!last && m_waiting.size() + line.size() >= mostWaiting) {
        ++m_lost;
        return;
    }
    m_waiting += line + "\n";
}

void LineOutput::writeSome() {
    // A descriptor that poll() calls ready takes so much at once; its file may be others' too, so that it stays
    // blocking.
    while (isWaiting() && waitFor(STDOUT_FILENO, POLLOUT, Deadline(0))) {
        const ssize_t written = ::write(STDOUT_FILENO, m_waiting.data(), std::min<size_t>(m_waiting.size(), PIPE_BUF));
        if (written >= 0) {
            m_waiting.erase(0, static_cast<size_t>(written));
        } else if (errno == EINTR || errno == EAGAIN) {
            return; // a signal, which is to be heard now
        } else {
            m_waiting.clear();
            failToWrite("standard output", errno);
        }
    }
}

bool LineOutput::flush(const Deadline& deadline) {
    while (isWaiting() && waitFor(STDOUT_FILENO, POLLOUT, deadline)) {
        writeSome();
    }
    return !isWaiting();
}

} // namespace CmnCrypto::Cli
