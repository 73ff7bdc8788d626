#include "testlib/TlsPeer.h"

#include <algorithm>
#include <csignal>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <unistd.h>

#include <openssl/err.h>

#include <gtest/gtest.h>

#include "testlib/Bytes.h"
#include "testlib/Calls.h"

using CmnCrypto::TLSOperations;

namespace testlib {

namespace {

void require(bool done) {
    if (!done) {
        throw std::runtime_error("the test could not connect its sockets");
    }
}

void connectOverTcp(int (&ends)[2]) {
    sockaddr_in address = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t size = sizeof address;
    auto* const at = reinterpret_cast<sockaddr*>(&address);
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    require(bind(listener, at, size) == 0 && listen(listener, 1) == 0 && getsockname(listener, at, &size) == 0);
    ends[1] = ::socket(AF_INET, SOCK_STREAM, 0);
    require(connect(ends[1], at, size) == 0);
    ends[0] = ::accept(listener, nullptr, nullptr);
    close(listener);
    const int one = 1; // small pieces go at once
    setsockopt(ends[0], IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    setsockopt(ends[1], IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
}

/** What a call throws that finds an error of its host's queued. */
std::string called(const std::function<int()>& call) {
    queueHostError();
    return thrown([&] { EXPECT_EQ(call(), 0); });
}

} // namespace

Link::Link(bool tcp) {
    alarm(300); // whoever waits for good ends the test
    int ends[2];
    tcp ? connectOverTcp(ends) : require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
    own = ends[0];
    far = ends[1];
}

Link::~Link() {
    abandon();
    hangUp();
    close(own);
}

void Link::peer(const std::function<void()>& body) {
    join();
    m_thread = std::thread([body] {
        sigset_t pipe; // for the library's thread it stays as it is
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        body();
    });
}

void Link::join() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void Link::abandon() {
    shutdown(own, SHUT_RDWR);
    join();
}

void Link::hangUp(bool reset) {
    const linger none = {1, 0};
    if (reset) {
        setsockopt(far, SOL_SOCKET, SO_LINGER, &none, sizeof none);
    }
    if (far >= 0) {
        close(std::exchange(far, -1));
    }
}

void Link::send(const std::string& bytes) const {
    ::send(far, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

void relay(int first, int second, size_t piece, size_t cut) {
    pollfd ends[] = {{first, POLLIN, 0}, {second, POLLIN, 0}};
    std::string buffer(piece, '\0');
    while (cut > 0 && poll(ends, 2, -1) > 0) {
        for (const int from : {0, 1}) {
            if (ends[from].revents != 0) {
                const ssize_t got = recv(ends[from].fd, buffer.data(), std::min(piece, cut), 0);
                if (got <= 0 || ::send(ends[1 - from].fd, buffer.data(), size_t(got), MSG_NOSIGNAL) != got) {
                    return;
                }
                cut -= from == 1 ? size_t(got) : 0;
            }
        }
    }
}

Owned<SSL> clientAt(int socket) {
    const Owned<SSL_CTX> context(SSL_CTX_new(TLS_client_method()));
    Owned<SSL> client(SSL_new(context.get()));
    require(SSL_set_fd(client.get(), socket) == 1);
    return client;
}

Owned<SSL> serverBy(TLSOperations& operations, const std::string& kind, const char* ciphers) {
    SSL* made = nullptr;
    operations.tlsInitClient(makeCertificate(kind).get(), keyOf(kind), ciphers, &made);
    return Owned<SSL>(made);
}

Owned<SSL> newServer() {
    TLSOperations operations(CmnCrypto::CTX_INIT_CLIENT);
    return serverBy(operations);
}

std::vector<std::vector<std::string>> blankRows(const std::string& file) {
    auto rows = readRows(file);
    for (auto& row : rows) {
        for (std::string& field : row) {
            std::replace(field.begin(), field.end(), '~', ' ');
        }
    }
    return rows;
}

std::string Talk::accept() const {
    int code = -1;
    SSL* raw = server.get();
    const std::string exception = called([&] { return code = TLSOperations::tlsAccept(socket, &raw), 0; });
    return exception.empty() ? std::to_string(code) : exception;
}

std::string Talk::shakeHands() {
    bool connected = false;
    link.peer([&] { (connected = SSL_connect(client.get()) == 1) ? void() : link.hangUp(); });
    const std::string code = accept();
    code == "0" ? link.join() : link.abandon();
    return code == "0" && !connected ? "0 without the client" : code;
}

std::string Talk::read(int size) const {
    std::string buffer(static_cast<size_t>(std::max(size, 0)), '\0');
    int count = -1;
    const auto call = [&] { return TLSOperations::tlsRead(server.get(), socket, size, buffer.data(), &count); };
    const std::string exception = called(call);
    EXPECT_TRUE(exception.empty() ? count >= 0 && count <= size : count == 0);
    return exception.empty() ? buffer.substr(0, static_cast<size_t>(count)) : exception;
}

std::string Talk::write(const std::string& data) const {
    int count = -1;
    SSL* raw = server.get();
    std::string exception =
        called([&] { return TLSOperations::tlsWrite(socket, data.data(), data.size(), &raw, &count); });
    EXPECT_EQ(count, exception.empty() ? static_cast<int>(data.size()) : 0);
    return exception;
}

std::string Talk::finish() {
    std::string exception = called([&] { return TLSOperations::tlsFinish(server.get(), socket); });
    static_cast<void>(exception.empty() ? server.release() : nullptr);
    return exception;
}

} // namespace testlib
