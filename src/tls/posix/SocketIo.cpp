#include "tls/SocketIo.h"

#include <cerrno>
#include <poll.h>
#include <sys/socket.h>

namespace CmnCrypto::tls {

namespace {

int flagsFor(Blocking blocking) {
    return blocking == Blocking::never ? MSG_DONTWAIT : 0;
}

} // namespace

// At most INT_MAX bytes come in, as OpenSSL's records are small: the results fit.

int receive(int socket, char* buffer, size_t size, Blocking blocking) noexcept {
    return static_cast<int>(::recv(socket, buffer, size, flagsFor(blocking)));
}

int transmit(int socket, const char* data, size_t size, Blocking blocking) noexcept {
    return static_cast<int>(::send(socket, data, size, MSG_NOSIGNAL | flagsFor(blocking)));
}

int lastSocketError() noexcept {
    return errno;
}

// poll() and not select(), which has no room for numbers above 1023.
Wait waitFor(int socket, Direction direction, const Deadline& deadline) noexcept {
    if (socket < 0) {
        return Wait::failed; // poll() would pass it over, and wait for good
    }
    const short wanted = direction == Direction::writing ? POLLOUT : POLLIN;
    for (;;) {
        pollfd waited = {socket, wanted, 0};
        const int remaining = deadline.remaining();
        const int ready = remaining == 0 ? 0 : ::poll(&waited, 1, remaining);
        if (ready > 0) {
            return (waited.revents & POLLNVAL) != 0 ? Wait::failed : Wait::ready;
        }
        if (ready == 0) {
            return Wait::timedOut;
        }
        if (errno != EINTR) {
            return Wait::failed;
        }
    }
}

} // namespace CmnCrypto::tls
