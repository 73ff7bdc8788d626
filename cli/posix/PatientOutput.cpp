#include "PatientOutput.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <poll.h>
#include <unistd.h>

namespace CmnCrypto::Cli {

struct PatientOutput::Worker {};

PatientOutput::PatientOutput() = default;
PatientOutput::~PatientOutput() = default;

ptrdiff_t PatientOutput::write(const char* data, size_t size) {
    // A descriptor that poll() calls ready takes so much at once; its file may be others' too, so that it stays
    // blocking.
    if (!waitForRoom(Deadline(0))) {
        return 0;
    }
    const ssize_t written = ::write(STDOUT_FILENO, data, std::min<size_t>(size, PIPE_BUF));
    return written < 0 && (errno == EINTR || errno == EAGAIN) ? 0 : written;
}

bool PatientOutput::isBusy() const noexcept {
    return false;
}

bool PatientOutput::waitForRoom(const Deadline& deadline) {
    pollfd waiting = {STDOUT_FILENO, POLLOUT, 0};
    int ready = 0;
    do {
        ready = ::poll(&waiting, 1, deadline.remaining());
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

} // namespace CmnCrypto::Cli
