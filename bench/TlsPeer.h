#ifndef CMNCRYPTO_BENCH_TLSPEER_H
#define CMNCRYPTO_BENCH_TLSPEER_H

#include <cstddef>
#include <thread>

#include "Material.h"

/** What all jobs negotiate. */
constexpr const char* measuredSuite = "ECDHE-RSA-AES256-GCM-SHA384";

/** A client in OpenSSL's defaults that does not look at certificates. @param socket stays the caller's */
Owned<SSL> connectedClient(SSL_CTX* context, int socket);
Owned<SSL_CTX> clientContext();

/**
 * The client of measured connections. It works on a thread of its own, in the order of the calls, which only pass that
 * on: CPU time counts for the server's thread alone.
 */
class TlsPeer {
public:
    TlsPeer();
    ~TlsPeer();
    TlsPeer(const TlsPeer&) = delete;
    TlsPeer& operator=(const TlsPeer&) = delete;

    /** Begins a handshake. @return the server's end, to be closed */
    int connect();
    void send(size_t bytes) { give({Task::send, bytes}); }
    void receive(size_t bytes) { give({Task::receive, bytes}); }
    void finish() { give({Task::finish, 0}); } ///< exchanges close_notify

private:
    enum class Task { connect, send, receive, finish, stop };
    struct Order {
        Task task;
        size_t number;
    };

    void give(Order order);
    void run();

    int m_orders[2]; ///< a pipe
    std::thread m_thread;
};

#endif
