#include "TlsServer.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <system_error>
#include <unistd.h>
#include <utility>

#include "Failure.h"
#include "Interrupt.h"

namespace CmnCrypto::Cli {

namespace {

constexpr size_t mostConnections = 256;
constexpr int finishMilliseconds = 2000;
constexpr int pauseMilliseconds = 200;

} // namespace

TlsServer::TlsServer(std::vector<FileDescriptor> listeners, Serve serve)
    : m_listeners(std::move(listeners)), m_serve(std::move(serve)) {
    std::array<int, 2> ends = {};
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
        throw Failure::ofSystem(ExitCode::internal, "pipe", errno);
    }
    m_wakeRead = FileDescriptor(ends[0]);
    m_wakeWrite = FileDescriptor(ends[1]);
    stopOnSignal(m_wakeWrite.get());
}

TlsServer::~TlsServer() {
    stopOnSignal(-1);
}

size_t TlsServer::run() {
    std::vector<size_t> ready;
    while (!stopAsked() && !m_failure) {
        waitForEvents(ready);
        reap();
        for (const size_t index : ready) {
            accept(m_listeners[index].get());
        }
    }
    m_listeners.clear();
    finish();
    if (m_failure) {
        std::rethrow_exception(m_failure);
    }
    return m_count;
}

/** Waits for clients, for the end of a connection and for a signal. @param ready receives the listeners with clients */
void TlsServer::waitForEvents(std::vector<size_t>& ready) {
    std::vector<pollfd> waiting = {{m_wakeRead.get(), POLLIN, 0}};
    const bool pausing = std::exchange(m_outOfResources, false);
    if (!pausing && m_connections.size() < mostConnections) {
        for (const FileDescriptor& listener : m_listeners) {
            waiting.push_back({listener.get(), POLLIN, 0});
        }
    }
    ready.clear();
    if (::poll(waiting.data(), waiting.size(), pausing ? pauseMilliseconds : -1) <= 0) {
        return; // a signal, most likely; its byte is waiting
    }
    std::array<char, 512> bytes = {};
    while (::read(m_wakeRead.get(), bytes.data(), bytes.size()) > 0) {
        // the bytes say no more than that there are some
    }
    for (size_t i = 1; i < waiting.size(); ++i) {
        if (waiting[i].revents != 0) {
            ready.push_back(i - 1);
        }
    }
}

void TlsServer::accept(int listener) {
    if (m_connections.size() >= mostConnections) {
        return;
    }
    Endpoint peer;
    peer.length = sizeof peer.address;
    FileDescriptor socket(::accept4(listener, reinterpret_cast<sockaddr*>(&peer.address), &peer.length, SOCK_CLOEXEC));
    if (!socket.isOpen()) {
        // A client that has gone again is no reason to wait, a lack of descriptors or memory is.
        m_outOfResources = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
        return;
    }
    const int on = 1;
    ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    start(std::move(socket), peer.text());
}

void TlsServer::start(FileDescriptor socket, const std::string& peer) {
    const SignalBlock block; // the signals are for the thread that waits
    Connection& connection = m_connections.emplace_back();
    connection.socket = std::move(socket);
    try {
        connection.thread = std::thread([this, peer, &connection] {
            try {
                m_serve(connection.socket.get(), peer);
            } catch (...) {
                connection.failure = std::current_exception();
            }
            connection.done = true;
            if (::write(m_wakeWrite.get(), "d", 1) < 0) {
                return; // the pipe is full: nobody sleeps beside it
            }
        });
        ++m_count;
    } catch (const std::system_error&) {
        m_connections.pop_back();
        m_outOfResources = true;
    }
}

/** Joins the threads that are done and closes their sockets. */
void TlsServer::reap() {
    for (auto at = m_connections.begin(); at != m_connections.end();) {
        if (!at->done) {
            ++at;
            continue;
        }
        at->thread.join();
        if (at->failure && !m_failure) {
            m_failure = at->failure;
        }
        at = m_connections.erase(at);
    }
}

void TlsServer::finish() {
    const Deadline deadline(finishMilliseconds);
    while (!m_connections.empty() && waitFor(m_wakeRead.get(), POLLIN, deadline)) {
        std::array<char, 512> bytes = {};
        [[maybe_unused]] const ssize_t count = ::read(m_wakeRead.get(), bytes.data(), bytes.size());
        reap();
    }
    for (const Connection& connection : m_connections) {
        ::shutdown(connection.socket.get(), SHUT_RDWR); // whatever it waits for fails now
    }
    for (Connection& connection : m_connections) {
        connection.thread.join();
    }
    m_connections.clear();
}

} // namespace CmnCrypto::Cli
