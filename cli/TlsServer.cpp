#include "TlsServer.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include "Failure.h"
#include "Interrupt.h"

namespace CmnCrypto::Cli {

namespace {

constexpr size_t mostConnections = 256;
constexpr int serverFinishMilliseconds = 1500;
constexpr int pauseMilliseconds = 200;

} // namespace

TlsServer::TlsServer(std::vector<Socket> listeners, LineOutput& output, Serve serve)
    : m_listeners(std::move(listeners)), m_output(output), m_serve(std::move(serve)) {
    stopOnSignal(&m_events);
}

TlsServer::~TlsServer() {
    stopOnSignal(nullptr);
}

size_t TlsServer::run() {
    while (!stopAsked() && !m_failure) {
        const std::vector<size_t> ready = waitForEvents(-1);
        reap();
        for (const size_t index : ready) {
            accept(m_listeners[index]);
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
 * @param milliseconds -1: for ever
 * @return the listeners with clients
 */
std::vector<size_t> TlsServer::waitForEvents(int milliseconds) {
    static const std::vector<Socket> nobody;
    const bool pausing = std::exchange(m_outOfResources, false);
    const bool full = pausing || m_connections.size() >= mostConnections;
    ServerEvents::Ready ready =
        m_events.wait(full ? nobody : m_listeners, m_output.isWaiting(), pausing ? pauseMilliseconds : milliseconds);
    if (ready.output) {
        writeLines();
    }
    return std::move(ready.listeners);
}

void TlsServer::writeLines() {
    try {
        m_output.writeSome();
    } catch (...) {
        m_failure = m_failure ? m_failure : std::current_exception();
    }
}

void TlsServer::accept(const Socket& listener) {
    if (m_connections.size() >= mostConnections) {
        return;
    }
    Endpoint peer;
    Socket socket = acceptClient(listener, peer);
    if (!socket.isOpen()) {
        // A client that has gone again is no reason to wait, a lack of descriptors or memory is.
        m_outOfResources = errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM;
        return;
    }
    start(std::move(socket), peer.text());
}

void TlsServer::start(Socket socket, const std::string& peer) {
    const SignalBlock block; // the signals are for the thread that waits
    Connection& connection = m_connections.emplace_back();
    connection.socket = std::move(socket);
    try {
        connection.thread = std::thread([this, peer, number = connection.socket.number(), &connection] {
            try {
                connection.line = m_serve(number, peer);
            } catch (...) {
                connection.failure = std::current_exception();
            }
            connection.done = true;
            m_events.wake();
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
    const Deadline deadline(serverFinishMilliseconds);
    while (reap(), !m_connections.empty() && deadline.remaining() > 0) {
        waitForEvents(deadline.remaining());
    }
    for (Connection& connection : m_connections) {
        abortWaiting(connection.socket);
    }
    for (Connection& connection : m_connections) {
        join(connection);
    }
    m_connections.clear();
}

} // namespace CmnCrypto::Cli
