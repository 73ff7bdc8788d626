// The server's side of TLS connections: full handshakes with an RSA-2048 key, and bytes under AES-256-GCM.

#include <unistd.h>

#include "Pairs.h"
#include "TlsPeer.h"
#include "TlsServers.h"

namespace {

/** Full handshakes, each with its shutdown. @param connection makes the SSL of the next one */
template <class Server, class Connection> void runHandshakes(benchmark::State& state, const Connection& connection) {
    TlsPeer peer;
    for (auto _ : state) {
        const int socket = peer.connect();
        peer.finish();
        SSL* const ssl = connection();
        Server::accept(ssl, socket);
        Server::finish(ssl, socket);
        close(socket);
    }
}

template <class Server, KeyIn key> void handshakes(benchmark::State& state) {
    const Owned<SSL_CTX> context = Server::context(key);
    runHandshakes<Server>(state, [&] { return SSL_new(context.get()); });
}

void handshakesEachSetUp(benchmark::State& state) {
    runHandshakes<OurServer>(state, [] { return OurServer::setUp().release(); });
}

/** One connection, through which each iteration moves the size of one call. */
template <class Server> struct Transfer {
    explicit Transfer(const benchmark::State& state)
        : context(Server::context(KeyIn::memory)), socket(peer.connect()), ssl(SSL_new(context.get())),
          data(sample(static_cast<size_t>(state.range(0)))), size(static_cast<int>(data.size())),
          total(data.size() * static_cast<size_t>(state.max_iterations)) {
        Server::accept(ssl, socket);
    }
    ~Transfer() {
        peer.finish();
        Server::finish(ssl, socket);
        close(socket);
    }
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    TlsPeer peer;
    Owned<SSL_CTX> context;
    int socket;
    SSL* ssl;
    std::vector<unsigned char> data;
    int size;
    size_t total;
};

template <class Server> void writing(benchmark::State& state) {
    Transfer<Server> transfer(state);
    transfer.peer.receive(transfer.total);
    for (auto _ : state) {
        Server::write(transfer.ssl, transfer.socket, transfer.data.data(), transfer.size);
    }
}

template <class Server> void reading(benchmark::State& state) {
    Transfer<Server> transfer(state);
    transfer.peer.send(transfer.total);
    for (auto _ : state) {
        for (int rest = transfer.size; rest > 0;) { // a call gives one record at most, 16 KiB
            rest -= Server::read(transfer.ssl, transfer.socket, transfer.data.data(), rest);
        }
    }
}

} // namespace

COUNTED_PAIR("handshake, key in memory", (handshakes<RawServer, KeyIn::memory>), (handshakes<OurServer, KeyIn::memory>),
             200)
COUNTED_PAIR("handshake, key in a store", (handshakes<RawServer, KeyIn::store>), (handshakes<OurServer, KeyIn::store>),
             200)
COUNTED_PAIR("handshake, a context for each", (handshakes<RawServer, KeyIn::memory>), handshakesEachSetUp, 200)
PAIR("TLS, writes of 16 KiB", writing<RawServer>, writing<OurServer>, 16 << 10)
PAIR("TLS, writes of 256 KiB", writing<RawServer>, writing<OurServer>, 256 << 10)
PAIR("TLS, reads of 16 KiB", reading<RawServer>, reading<OurServer>, 16 << 10)
PAIR("TLS, reads of 256 KiB", reading<RawServer>, reading<OurServer>, 256 << 10)
