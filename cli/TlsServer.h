/** @file
 * Connections on threads until a signal comes.
 */
#ifndef CMNCRYPTO_CLI_TLSSERVER_H
#define CMNCRYPTO_CLI_TLSSERVER_H

#include <atomic>
#include <exception>
#include <functional>
#include <list>
#include <string>
#include <thread>
#include <vector>

#include "LineOutput.h"
#include "ServerEvents.h"

namespace CmnCrypto::Cli {

/** One thread per connection, at most 256; further clients wait in the system's queue until one is free. */
class TlsServer {
public:
    /** Runs one connection on a blocking socket that stays the server's; its exceptions end the server.
     * @return a line about it */
    using Serve = std::function<std::string(uint64_t socket, const std::string& peer)>;

    /**
     * From now on the first signal is for run().
     * @param listeners from listenAt()
     * @param output takes the lines; no connection waits for its reader
     * @throws Failure (internal)
     */
    TlsServer(std::vector<Socket> listeners, LineOutput& output, Serve serve);
    ~TlsServer();
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;

    /**
     * Serves until SIGINT, SIGTERM or SIGHUP, then lets what is running finish for a second and a half.
     * @return how many connections there were
     * @throws what a connection or the output has thrown
     */
    size_t run();

private:
    struct Connection {
        Socket socket;
        std::atomic<bool> done{false};
        std::string line;
        std::exception_ptr failure;
        std::thread thread;
    };

    std::vector<size_t> waitForEvents(int milliseconds);
    void writeLines();
    void accept(const Socket& listener);
    void start(Socket socket, const std::string& peer);
    void join(Connection& connection);
    void reap();
    void finish();

    std::vector<Socket> m_listeners;
    LineOutput& m_output;
    Serve m_serve;
    ServerEvents m_events;
    std::list<Connection> m_connections;
    size_t m_count = 0;
    bool m_outOfResources = false; ///< of descriptors or threads: pause before the next one is accepted
    std::exception_ptr m_failure;
};

} // namespace CmnCrypto::Cli

#endif
