#include "IdleMemory.h"

#include <cstdio>
#include <malloc.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Pairs.h"
#include "TlsPeer.h"
#include "TlsServers.h"

namespace {

constexpr size_t connections = 500;

struct Ends {
    int server;
    int client;
};

/** Connects all clients and keeps them until the servers are gone. */
[[noreturn]] void keepClients(const std::vector<Ends>& sockets) {
    for (const Ends& socket : sockets) {
        close(socket.server);
    }
    const Owned<SSL_CTX> context = clientContext();
    std::vector<Owned<SSL>> clients;
    for (const Ends& socket : sockets) {
        clients.push_back(connectedClient(context.get(), socket.client));
    }
    char byte = 0;
    SSL_read(clients.back().get(), &byte, 1);
    _exit(0);
}

/** @return the bytes that one of many accepted connections has allocated; its clients are another process */
template <class Server> double bytesPerConnection() {
    const Owned<SSL_CTX> context = Server::context(KeyIn::memory);
    std::vector<Ends> sockets(connections + 1);
    for (Ends& socket : sockets) {
        int ends[2];
        require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0, "making sockets");
        socket = {ends[0], ends[1]};
    }
    const pid_t child = fork();
    if (child == 0) {
        keepClients(sockets);
    }
    std::vector<Owned<SSL>> servers;
    servers.reserve(sockets.size());
    size_t before = 0;
    for (const Ends& socket : sockets) {
        close(socket.client);
        servers.emplace_back(SSL_new(context.get()));
        Server::accept(servers.back().get(), socket.server);
        if (before == 0) { // the first one pays for what OpenSSL sets up once
            before = mallinfo2().uordblks;
        }
    }
    const size_t taken = mallinfo2().uordblks - before;
    for (const Ends& socket : sockets) {
        close(socket.server);
    }
    require(waitpid(child, nullptr, 0) == child, "the clients' process");
    return static_cast<double>(taken) / connections;
}

} // namespace

void printIdleMemory() {
    const double raw = bytesPerConnection<RawServer>();
    const double ours = bytesPerConnection<OurServer>();
    std::printf("\nmemory of an idle connection, the server's side: %.0f bytes, OpenSSL alone %.0f, ratio %.3f\n", ours,
                raw, ours / raw);
}
