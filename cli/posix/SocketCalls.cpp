#include "SocketCalls.h"

#include <poll.h>
#include <unistd.h>

namespace CmnCrypto::Cli {

namespace {

uint64_t numberOf(int descriptor) noexcept {
    return descriptor < 0 ? Socket::none : static_cast<uint64_t>(descriptor);
}

} // namespace

void closeSocket(uint64_t number) noexcept {
    ::close(native(number));
}

void abortWaiting(Socket& socket) noexcept {
    ::shutdown(native(socket.number()), SHUT_RDWR);
}

uint64_t newSocket(int family) noexcept {
    return numberOf(::socket(family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
}

uint64_t acceptSocket(uint64_t listener, sockaddr* peer, socklen_t& length) noexcept {
    return numberOf(::accept4(native(listener), peer, &length, SOCK_CLOEXEC));
}

void setOption(uint64_t socket, int level, int name) noexcept {
    const int on = 1;
    ::setsockopt(native(socket), level, name, &on, sizeof on);
}

int pendingError(uint64_t socket) noexcept {
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(native(socket), SOL_SOCKET, SO_ERROR, &error, &size) != 0 ? errno : error;
}

int waitForSocket(uint64_t socket, SocketEvent event, int milliseconds) noexcept {
    pollfd waiting = {native(socket), static_cast<short>(event == SocketEvent::writable ? POLLOUT : POLLIN), 0};
    return ::poll(&waiting, 1, milliseconds);
}

std::string resolverText(int error) {
    return ::gai_strerror(error);
}

int lastSocketError() noexcept {
    return errno;
}

void clearSocketError() noexcept {
    errno = 0;
}

} // namespace CmnCrypto::Cli
