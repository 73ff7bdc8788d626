#include "SocketCalls.h"

#include "ErrorNumbers.h"

namespace CmnCrypto::Cli {

static_assert(static_cast<uint64_t>(INVALID_SOCKET) == Socket::none);

void startSockets() noexcept {
    static const int started = [] {
        WSADATA data = {};
        return ::WSAStartup(MAKEWORD(2, 2), &data); // undone by the end of the process
    }();
    static_cast<void>(started); // without it the calls themselves fail, and say so
}

void closeSocket(uint64_t number) noexcept {
    ::closesocket(native(number));
}

void abortWaiting(Socket& socket) noexcept {
    socket = Socket(); // after shutdown() WSAPoll() would go on waiting
}

uint64_t newSocket(int family) noexcept {
    startSockets();
    const SOCKET socket =
        ::WSASocketW(family, SOCK_STREAM, 0, nullptr, 0, WSA_FLAG_OVERLAPPED | WSA_FLAG_NO_HANDLE_INHERIT);
    u_long on = 1;
    if (socket != INVALID_SOCKET) {
        ::ioctlsocket(socket, static_cast<long>(FIONBIO), &on);
    }
    return socket;
}

uint64_t acceptSocket(uint64_t listener, sockaddr* peer, socklen_t& length) noexcept {
    const SOCKET socket = ::accept(native(listener), peer, &length);
    u_long off = 0; // it begins as its listener is
    if (socket != INVALID_SOCKET) {
        ::ioctlsocket(socket, static_cast<long>(FIONBIO), &off);
    }
    return socket;
}

void setOption(uint64_t socket, int level, int name) noexcept {
    const int on = 1;
    ::setsockopt(native(socket), level, name, reinterpret_cast<const char*>(&on), sizeof on);
}

int pendingError(uint64_t socket) noexcept {
    int error = 0;
    int size = sizeof error;
    const int result = ::getsockopt(native(socket), SOL_SOCKET, SO_ERROR, reinterpret_cast<char*>(&error), &size);
    return result != 0 ? lastSocketError() : errnoOfSocket(error);
}

/** By select(): before Windows 10 2004 WSAPoll() does not see that a connection has failed. */
int waitForSocket(uint64_t socket, SocketEvent event, int milliseconds) noexcept {
    fd_set wanted;
    fd_set failed;
    FD_ZERO(&wanted);
    FD_ZERO(&failed);
    wanted.fd_array[wanted.fd_count++] = native(socket);
    failed.fd_array[failed.fd_count++] = native(socket);
    const bool writing = event == SocketEvent::writable;
    timeval time = {milliseconds / 1000, milliseconds % 1000 * 1000};
    return ::select(0, writing ? nullptr : &wanted, writing ? &wanted : nullptr, &failed, &time);
}

std::string resolverText(int error) {
    return error == WSAHOST_NOT_FOUND || error == WSANO_DATA ? "Name or service not known"
           : error == WSATRY_AGAIN                           ? "Temporary failure in name resolution"
                                                             : "error " + std::to_string(error);
}

int lastSocketError() noexcept {
    return errnoOfSocket(::WSAGetLastError());
}

void clearSocketError() noexcept {
    ::WSASetLastError(0);
}

} // namespace CmnCrypto::Cli
