#include "tls/SocketIo.h"

#include <algorithm>
#include <climits>
#include <winsock2.h>

namespace CmnCrypto::tls {

namespace {

int poll(int socket, Direction direction, int milliseconds, WSAPOLLFD& waited) {
    const SHORT wanted = direction == Direction::writing ? POLLWRNORM : POLLRDNORM;
    waited = {static_cast<SOCKET>(socket), wanted, 0};
    return ::WSAPoll(&waited, 1, milliseconds);
}

int lengthOf(size_t size) {
    return static_cast<int>(std::min<size_t>(size, INT_MAX));
}

/** There is no flag for a single call that must not block: whether it would is asked first. */
bool wouldBlock(int socket, Direction direction, Blocking blocking) {
    WSAPOLLFD waited;
    if (blocking == Blocking::asSocket || poll(socket, direction, 0, waited) != 0) {
        return false; // an error is for the call itself to report
    }
    ::WSASetLastError(WSAEWOULDBLOCK);
    return true;
}

} // namespace

int receive(int socket, char* buffer, size_t size, Blocking blocking) noexcept {
    return wouldBlock(socket, Direction::reading, blocking)
               ? -1
               : ::recv(static_cast<SOCKET>(socket), buffer, lengthOf(size), 0);
}

// A socket that is ready takes a whole record into its buffer. There is no SIGPIPE.
int transmit(int socket, const char* data, size_t size, Blocking blocking) noexcept {
    return wouldBlock(socket, Direction::writing, blocking)
               ? -1
               : ::send(static_cast<SOCKET>(socket), data, lengthOf(size), 0);
}

int lastSocketError() noexcept {
    return ::WSAGetLastError();
}

Wait waitFor(int socket, Direction direction, const Deadline& deadline) noexcept {
    if (socket < 0) {
        return Wait::failed;
    }
    const int remaining = deadline.remaining();
    WSAPOLLFD waited;
    const int ready = remaining == 0 ? 0 : poll(socket, direction, remaining, waited);
    if (ready == 0) {
        return Wait::timedOut;
    }
    return ready < 0 || (waited.revents & POLLNVAL) != 0 ? Wait::failed : Wait::ready;
}

} // namespace CmnCrypto::tls
