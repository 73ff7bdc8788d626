#include "Socket.h"

#include <algorithm>
#include <cerrno>
#include <memory>

#include "Failure.h"
#include "SocketCalls.h"

namespace CmnCrypto::Cli {

namespace {

static_assert(sizeof(sockaddr_storage) <= sizeof Endpoint::address && alignof(sockaddr_storage) <= 8);

sockaddr* systems(Endpoint& endpoint) {
    return reinterpret_cast<sockaddr*>(endpoint.address.data());
}

const sockaddr* systems(const Endpoint& endpoint) {
    return reinterpret_cast<const sockaddr*>(endpoint.address.data());
}

bool isSixth(const Endpoint& endpoint) {
    return systems(endpoint)->sa_family == AF_INET6;
}

Socket openSocket(const Endpoint& endpoint) {
    Socket socket(newSocket(systems(endpoint)->sa_family));
    if (socket.isOpen()) {
        setOption(socket.number(), IPPROTO_TCP, TCP_NODELAY);
    }
    return socket;
}

/** Closes a socket without losing the reason why. */
Socket failed(Socket socket, int reason) {
    socket = Socket();
    errno = reason;
    return Socket();
}

using AddressList = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

} // namespace

int Deadline::remaining() const {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(m_end - std::chrono::steady_clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

std::string Endpoint::text() const {
    std::array<char, NI_MAXHOST> host = {};
    std::array<char, NI_MAXSERV> service = {};
    if (::getnameinfo(systems(*this), static_cast<socklen_t>(length), host.data(), host.size(), service.data(),
                      service.size(), NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return "unknown";
    }
    return (isSixth(*this) ? "[" : "") + std::string(host.data()) + (isSixth(*this) ? "]:" : ":") + service.data();
}

int Endpoint::port() const {
    return ntohs(isSixth(*this) ? reinterpret_cast<const sockaddr_in6*>(systems(*this))->sin6_port
                                : reinterpret_cast<const sockaddr_in*>(systems(*this))->sin_port);
}

void Endpoint::setPort(int port) {
    (isSixth(*this) ? reinterpret_cast<sockaddr_in6*>(systems(*this))->sin6_port
                    : reinterpret_cast<sockaddr_in*>(systems(*this))->sin_port) = htons(static_cast<uint16_t>(port));
}

std::vector<Endpoint> resolve(const std::string& host, int port, bool listening) {
    startSockets();
    addrinfo wanted = {};
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = listening ? AI_PASSIVE : AI_ADDRCONFIG;
    addrinfo* list = nullptr;
    const int error = ::getaddrinfo(host.c_str(), nullptr, &wanted, &list);
    const AddressList owner(list, &::freeaddrinfo);
    if (error != 0) {
        throw Failure(ExitCode::inputUnreadable,
                      "host " + host + ": " + resolverText(error) + "; give a name or an address that there is");
    }
    std::vector<Endpoint> endpoints;
    for (const addrinfo* entry = list; entry != nullptr; entry = entry->ai_next) {
        if (entry->ai_family == AF_INET || entry->ai_family == AF_INET6) {
            Endpoint endpoint;
            endpoint.length = entry->ai_addrlen;
            std::copy_n(reinterpret_cast<const unsigned char*>(entry->ai_addr), endpoint.length,
                        endpoint.address.data());
            endpoint.setPort(port);
            endpoints.push_back(endpoint);
        }
    }
    return endpoints;
}

std::string addressBytes(const std::string& text) {
    startSockets();
    addrinfo wanted = {};
    wanted.ai_flags = AI_NUMERICHOST;
    addrinfo* list = nullptr;
    const int error = ::getaddrinfo(text.c_str(), nullptr, &wanted, &list);
    const AddressList owner(list, &::freeaddrinfo);
    if (error != 0 || list == nullptr) {
        return "";
    }
    const bool sixth = list->ai_family == AF_INET6;
    const void* const bytes = sixth
                                  ? static_cast<const void*>(&reinterpret_cast<sockaddr_in6*>(list->ai_addr)->sin6_addr)
                                  : &reinterpret_cast<sockaddr_in*>(list->ai_addr)->sin_addr;
    return {static_cast<const char*>(bytes), sixth ? sizeof(in6_addr) : sizeof(in_addr)};
}

bool isPlainAddress(const std::string& text) {
    startSockets();
    std::array<unsigned char, sizeof(in6_addr)> bytes = {};
    return ::inet_pton(AF_INET, text.c_str(), bytes.data()) == 1 ||
           ::inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1;
}

Socket listenAt(Endpoint& endpoint) {
    Socket socket = openSocket(endpoint);
    if (!socket.isOpen()) {
        return failed(std::move(socket), lastSocketError());
    }
    setOption(socket.number(), SOL_SOCKET, ownPort);
    if (isSixth(endpoint)) {
        setOption(socket.number(), IPPROTO_IPV6, IPV6_V6ONLY); // the other family has its own
    }
    auto length = static_cast<socklen_t>(endpoint.length);
    if (::bind(native(socket.number()), systems(endpoint), length) != 0 ||
        ::listen(native(socket.number()), SOMAXCONN) != 0 ||
        ::getsockname(native(socket.number()), systems(endpoint), &length) != 0) {
        return failed(std::move(socket), lastSocketError());
    }
    endpoint.length = static_cast<size_t>(length);
    return socket;
}

Socket connectTo(const Endpoint& endpoint, const Deadline& deadline) {
    Socket socket = openSocket(endpoint);
    if (!socket.isOpen()) {
        return failed(std::move(socket), lastSocketError());
    }
    if (::connect(native(socket.number()), systems(endpoint), static_cast<socklen_t>(endpoint.length)) == 0) {
        return socket;
    }
    if (const int error = lastSocketError(); error != connecting) {
        return failed(std::move(socket), error);
    }
    if (!waitFor(socket, SocketEvent::writable, deadline)) {
        return failed(std::move(socket), ETIMEDOUT);
    }
    const int error = pendingError(socket.number());
    return error == 0 ? std::move(socket) : failed(std::move(socket), error);
}

Socket acceptClient(const Socket& listener, Endpoint& peer) {
    auto length = static_cast<socklen_t>(peer.address.size());
    Socket socket(acceptSocket(listener.number(), systems(peer), length));
    if (!socket.isOpen()) {
        return failed(std::move(socket), lastSocketError());
    }
    peer.length = static_cast<size_t>(length);
    setOption(socket.number(), IPPROTO_TCP, TCP_NODELAY);
    return socket;
}

bool waitFor(const Socket& socket, SocketEvent event, const Deadline& deadline) {
    int ready = 0;
    do {
        ready = waitForSocket(socket.number(), event, deadline.remaining());
    } while (ready < 0 && lastSocketError() == EINTR);
    return ready > 0;
}

} // namespace CmnCrypto::Cli
