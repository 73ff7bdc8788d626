#include "Socket.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <utility>

#include "Failure.h"

namespace CmnCrypto::Cli {

namespace {

FileDescriptor openSocket(const Endpoint& endpoint) {
    FileDescriptor socket(::socket(endpoint.address.ss_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const int on = 1;
    if (socket.isOpen()) {
        ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    return socket;
}

/** Closes a socket without losing the reason why. */
FileDescriptor failed(FileDescriptor socket, int reason) {
    socket = FileDescriptor();
    errno = reason;
    return FileDescriptor();
}

} // namespace

int Deadline::remaining() const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_end - std::chrono::steady_clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

std::string Endpoint::text() const {
    std::array<char, NI_MAXHOST> host = {};
    std::array<char, NI_MAXSERV> service = {};
    if (::getnameinfo(reinterpret_cast<const sockaddr*>(&address), length, host.data(), host.size(), service.data(),
                      service.size(), NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return "unknown";
    }
    const bool sixth = address.ss_family == AF_INET6;
    return (sixth ? "[" : "") + std::string(host.data()) + (sixth ? "]:" : ":") + service.data();
}

int Endpoint::port() const {
    return ntohs(address.ss_family == AF_INET6 ? reinterpret_cast<const sockaddr_in6&>(address).sin6_port
                                               : reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

void Endpoint::setPort(int port) {
    (address.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6&>(address).sin6_port
                                   : reinterpret_cast<sockaddr_in&>(address).sin_port) =
        htons(static_cast<uint16_t>(port));
}

std::vector<Endpoint> resolve(const std::string& host, int port, bool listening) {
    addrinfo wanted = {};
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = listening ? AI_PASSIVE : AI_ADDRCONFIG;
    addrinfo* list = nullptr;
    const int error = ::getaddrinfo(host.c_str(), nullptr, &wanted, &list);
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(list, &::freeaddrinfo);
    if (error != 0) {
        throw Failure(ExitCode::inputUnreadable,
                      "host " + host + ": " + ::gai_strerror(error) + "; give a name or an address that there is");
    }
    std::vector<Endpoint> endpoints;
    for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
        if (entry->ai_family == AF_INET || entry->ai_family == AF_INET6) {
            Endpoint endpoint;
            endpoint.length = entry->ai_addrlen;
            std::copy_n(reinterpret_cast<const char*>(entry->ai_addr), entry->ai_addrlen,
                        reinterpret_cast<char*>(&endpoint.address));
            endpoint.setPort(port);
            endpoints.push_back(endpoint);
        }
    }
    return endpoints;
}

FileDescriptor listenAt(Endpoint& endpoint) {
    FileDescriptor socket = openSocket(endpoint);
    if (!socket.isOpen()) {
        return socket;
    }
    const int on = 1;
    ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (endpoint.address.ss_family == AF_INET6) {
        ::setsockopt(socket.get(), IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on); // the other family has its own
    }
    auto* const address = reinterpret_cast<sockaddr*>(&endpoint.address);
    if (::bind(socket.get(), address, endpoint.length) != 0 || ::listen(socket.get(), SOMAXCONN) != 0 ||
        ::getsockname(socket.get(), address, &endpoint.length) != 0) {
        return failed(std::move(socket), errno);
    }
    return socket;
}

FileDescriptor connectTo(const Endpoint& endpoint, const Deadline& deadline) {
    FileDescriptor socket = openSocket(endpoint);
    if (!socket.isOpen() ||
        ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&endpoint.address), endpoint.length) == 0) {
        return socket;
    }
    if (errno != EINPROGRESS) {
        return failed(std::move(socket), errno);
    }
    if (!waitFor(socket.get(), POLLOUT, deadline)) {
        return failed(std::move(socket), ETIMEDOUT);
    }
    int error = 0;
    socklen_t size = sizeof error;
    if (::getsockopt(socket.get(), SOL_SOCKET, SO_ERROR, &error, &size) != 0 || error != 0) {
        return failed(std::move(socket), error != 0 ? error : errno);
    }
    return socket;
}

bool waitFor(int descriptor, short events, const Deadline& deadline) {
    pollfd waiting = {descriptor, events, 0};
    int ready = 0;
    do {
        ready = ::poll(&waiting, 1, deadline.remaining());
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

} // namespace CmnCrypto::Cli
