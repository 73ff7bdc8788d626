#include "tls/SocketIo.h"

#include <algorithm>
#include <climits>
#include <winsock2.h>

namespace CmnCrypto::tls {

namespace {

/** Hosts that hold a socket have started Winsock; once more for the whole process does no harm. */
void startSockets() noexcept {
    static const int started = [] {
        WSADATA data;
        return ::WSAStartup(MAKEWORD(2, 2), &data);
    }();
    static_cast<void>(started); // without it each call says so itself
}

/** Makes a call again that somebody has cancelled, which is no failure of the socket. */
template <class Call> int uncancelled(const Call& call) noexcept {
    startSockets();
    int result = call();
    while (result == SOCKET_ERROR && ::WSAGetLastError() == WSAEINTR) {
        result = call();
    }
    return result;
}

int poll(int socket, Direction direction, int milliseconds, WSAPOLLFD& waited) {
    const SHORT wanted = direction == Direction::writing ? POLLWRNORM : POLLRDNORM;
    waited = {static_cast<SOCKET>(socket), wanted, 0};
    return uncancelled([&] { return ::WSAPoll(&waited, 1, milliseconds); });
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
               : uncancelled([=] { return ::recv(static_cast<SOCKET>(socket), buffer, lengthOf(size), 0); });
}

// A socket that is ready takes a whole record into its buffer. There is no SIGPIPE.
int transmit(int socket, const char* data, size_t size, Blocking blocking) noexcept {
    return wouldBlock(socket, Direction::writing, blocking)
               ? -1
               : uncancelled([=] { return ::send(static_cast<SOCKET>(socket), data, lengthOf(size), 0); });
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
