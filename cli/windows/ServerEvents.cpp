#include "ServerEvents.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include "Failure.h"
#include "SocketCalls.h"

namespace CmnCrypto::Cli {

namespace {

/** Standard output cannot be waited for together with sockets: its state is looked at so often. */
constexpr int outputMilliseconds = 20;
constexpr int connectMilliseconds = 5000;

/** @throws Failure (internal) with errno unless the socket is open */
Socket checked(Socket socket) {
    if (!socket.isOpen()) {
        throw Failure::ofSystem(ExitCode::internal, "loopback connection", errno);
    }
    return socket;
}

/** @return the other end of a connection: no stranger who was faster */
Socket acceptOwn(const Socket& listener, const Socket& client) {
    Endpoint own;
    auto length = static_cast<socklen_t>(own.address.size());
    ::getsockname(native(client.number()), reinterpret_cast<sockaddr*>(own.address.data()), &length);
    own.length = static_cast<size_t>(length);
    const Deadline deadline(connectMilliseconds);
    while (waitFor(listener, SocketEvent::readable, deadline)) {
        Endpoint peer;
        Socket accepted = acceptClient(listener, peer);
        if (accepted.isOpen() && peer.text() == own.text()) {
            return accepted;
        }
    }
    errno = ETIMEDOUT;
    return Socket();
}

} // namespace

/** Two ends of a connection to ourselves: nothing else wakes who waits for sockets. */
struct ServerEvents::Channel {
    Socket reading;
    Socket writing;
};

ServerEvents::ServerEvents() : m_channel(std::make_unique<Channel>()) {
    Endpoint endpoint = resolve("127.0.0.1", 0, true).front();
    const Socket listener = checked(listenAt(endpoint));
    m_channel->writing = checked(connectTo(endpoint, Deadline(connectMilliseconds)));
    m_channel->reading = checked(acceptOwn(listener, m_channel->writing));
    u_long on = 1;
    ::ioctlsocket(native(m_channel->reading.number()), static_cast<long>(FIONBIO), &on);
}

ServerEvents::~ServerEvents() = default;

void ServerEvents::wake() noexcept {
    if (::send(native(m_channel->writing.number()), "w", 1, 0) < 0) {
        return; // its buffer is full: nobody sleeps beside it
    }
}

ServerEvents::Ready ServerEvents::wait(const std::vector<Socket>& listeners, bool output, int milliseconds) {
    std::vector<WSAPOLLFD> waiting = {{native(m_channel->reading.number()), POLLRDNORM, 0}};
    for (const Socket& listener : listeners) {
        waiting.push_back({native(listener.number()), POLLRDNORM, 0});
    }
    const int limit = !output            ? milliseconds
                      : milliseconds < 0 ? outputMilliseconds
                                         : std::min(milliseconds, outputMilliseconds);
    Ready ready;
    ready.output = output;
    if (::WSAPoll(waiting.data(), static_cast<ULONG>(waiting.size()), limit) <= 0) {
        return ready;
    }
    std::array<char, 512> bytes = {};
    while (::recv(native(m_channel->reading.number()), bytes.data(), bytes.size(), 0) > 0) {
        // the bytes say no more than that there are some
    }
    for (size_t i = 1; i < waiting.size(); ++i) {
        if (waiting[i].revents != 0) {
            ready.listeners.push_back(i - 1);
        }
    }
    return ready;
}

} // namespace CmnCrypto::Cli
