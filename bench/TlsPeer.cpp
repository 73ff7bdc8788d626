#include "TlsPeer.h"

#include <algorithm>
#include <sys/socket.h>
#include <unistd.h>

#include "Pairs.h"

Owned<SSL_CTX> clientContext() {
    return Owned<SSL_CTX>(SSL_CTX_new(TLS_client_method()));
}

Owned<SSL> connectedClient(SSL_CTX* context, int socket) {
    Owned<SSL> ssl(SSL_new(context));
    require(ssl && SSL_set_fd(ssl.get(), socket) == 1 && SSL_connect(ssl.get()) == 1 &&
                SSL_get_cipher(ssl.get()) == std::string(measuredSuite) && SSL_session_reused(ssl.get()) == 0,
            "the client's handshake");
    return ssl;
}

TlsPeer::TlsPeer() {
    require(pipe(m_orders) == 0, "making a pipe");
    m_thread = std::thread([this] { run(); });
}

TlsPeer::~TlsPeer() {
    give({Task::stop, 0});
    m_thread.join();
    for (const int end : m_orders) {
        close(end);
    }
}

int TlsPeer::connect() {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "making a socket");
    give({Task::connect, static_cast<size_t>(ends[1])});
    return ends[0];
}

void TlsPeer::give(Order order) {
    require(write(m_orders[1], &order, sizeof order) == sizeof order, "passing an order on"); // atomic: it is short
}

void TlsPeer::run() {
    const Owned<SSL_CTX> context = clientContext();
    Owned<SSL> ssl;
    std::vector<char> buffer(size_t{256} << 10);
    for (Order order{}; read(m_orders[0], &order, sizeof order) == sizeof order && order.task != Task::stop;) {
        if (order.task == Task::connect) {
            ssl = connectedClient(context.get(), static_cast<int>(order.number));
        } else if (order.task == Task::finish) {
            require(SSL_shutdown(ssl.get()) >= 0 && SSL_shutdown(ssl.get()) == 1, "the client's shutdown");
            const int socket = SSL_get_fd(ssl.get());
            ssl.reset();
            close(socket);
        } else {
            for (size_t rest = order.number; rest > 0;) {
                const auto size = static_cast<int>(std::min(rest, buffer.size()));
                const int moved = order.task == Task::send ? SSL_write(ssl.get(), buffer.data(), size)
                                                           : SSL_read(ssl.get(), buffer.data(), size);
                require(moved > 0, "the client's transfer");
                rest -= static_cast<size_t>(moved);
            }
        }
    }
}
