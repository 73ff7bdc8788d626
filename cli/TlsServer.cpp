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
constexpr int finishMilliseconds = 1500;
constexpr int pauseMilliseconds = 200;

} // namespace

TlsServer::TlsServer(std::vector<FileDescriptor> listeners, LineOutput& output, Serve serve)
    : m_listeners(std::move(listeners)), m_output(output), m_serve(std::move(serve)) {
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
        waitForEvents(ready, -1);
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

/**
 * Waits for clients, for the end of a connection, for a signal and for the output, which gets what it takes.
 * @param ready receives the listeners with clients
 * @param milliseconds -1: for ever
 */
void TlsServer::waitForEvents(std::vector<size_t>& ready, int milliseconds) {
    constexpr int nobody = -1; // which poll() passes over
    std::vector<pollfd> waiting = {{m_wakeRead.get(), POLLIN, 0},
                                   {m_output.isWaiting() ? STDOUT_FILENO : nobody, POLLOUT, 0}};
    const size_t first = waiting.size();
    const bool pausing = std::exchange(m_outOfResources, false);
    if (!pausing && m_connections.size() < mostConnections) {
        for (const FileDescriptor& listener : m_listeners) {
            waiting.push_back({listener.get(), POLLIN, 0});
        }
    }
    ready.clear();
    if (::poll(waiting.data(), waiting.size(), pausing ? pauseMilliseconds : milliseconds) <= 0) {
        return; // a signal, most likely; its byte is waiting
    }
    std::array<char, 512> bytes = {};
    while (::read(m_wakeRead.get(), bytes.data(), bytes.size()) > 0) {
        // the bytes say no more than that there are some
    }
    if (waiting[1].revents != 0) {
        writeLines();
    }
    for (size_t i = first; i < waiting.size(); ++i) {
        if (waiting[i].revents != 0) {
            ready.push_back(i - first);
        }
    }
}

void TlsServer::writeLines() {
    try {
        m_output.writeSome();
    } catch (...) {
        m_failure = m_failure ? m_failure : std::current_exception();
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
                connection.line = m_serve(connection.socket.get(), peer);
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

/** Waits for a thread and takes over what it leaves. */
void TlsServer::join(Connection& connection) {
    connection.thread.join();
    if (connection.failure) {
        m_failure = m_failure ? m_failure : connection.failure;
    } else {
        m_output.add(connection.line);
    }
}

/** Joins the threads that are done and closes their sockets. */
void TlsServer::reap() {
    for (auto at = m_connections.begin(); at != m_connections.end();) {
        if (at->done) {
            join(*at);
            at = m_connections.erase(at);
        } else {
            ++at;
        }
    }
}

void TlsServer::finish() {
    const Deadline deadline(finishMilliseconds);
    std::vector<size_t> none;
    while (reap(), !m_connections.empty() && deadline.remaining() > 0) {
        waitForEvents(none, deadline.remaining());
    }
    for (const Connection& connection : m_connections) {
        ::shutdown(connection.socket.get(), SHUT_RDWR); // whatever it waits for fails now
    }
    for (Connection& connection : m_connections) {
        join(connection);
    }
    m_connections.clear();
}

} // namespace CmnCrypto::Cli
