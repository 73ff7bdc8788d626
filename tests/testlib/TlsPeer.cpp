#include "testlib/TlsPeer.h"

#include <algorithm>
#include <stdexcept>

#include <openssl/err.h>

#include <gtest/gtest.h>

#include "testlib/Bytes.h"
#include "testlib/Calls.h"
#include "testlib/Platform.h"

using CmnCrypto::TLSOperations;

namespace testlib {

namespace {

void require(bool done) {
    if (!done) {
        throw std::runtime_error("the test could not connect its sockets");
    }
}

/** @return the socket, which its BIO does not close */
int takenFrom(BIO* bio) {
    static_cast<void>(BIO_set_close(bio, BIO_NOCLOSE));
    return static_cast<int>(BIO_get_fd(bio, nullptr));
}

void connectOverTcp(int (&ends)[2]) {
    const Owned<BIO> listener(BIO_new_accept("127.0.0.1:0"));
    BIO_set_bind_mode(listener.get(), BIO_SOCK_NODELAY); // small pieces go at once
    require(BIO_do_accept(listener.get()) == 1);
    BIO_ADDRINFO* found = nullptr;
    require(BIO_lookup("127.0.0.1", BIO_get_accept_port(listener.get()), BIO_LOOKUP_CLIENT, 0, 0, &found) == 1);
    ends[1] = BIO_socket(BIO_ADDRINFO_family(found), BIO_ADDRINFO_socktype(found), BIO_ADDRINFO_protocol(found), 0);
    const bool connected = BIO_connect(ends[1], BIO_ADDRINFO_address(found), BIO_SOCK_NODELAY) == 1;
    BIO_ADDRINFO_free(found);
    require(connected && BIO_do_accept(listener.get()) == 1);
    const Owned<BIO> accepted(BIO_pop(listener.get()));
    ends[0] = takenFrom(accepted.get());
}

/** The calls of the system, in the same words everywhere. */
Owned<BIO> socketBio(int socket) {
    return Owned<BIO>(BIO_new_socket(socket, BIO_NOCLOSE));
}

/** What a call throws that finds an error of its host's queued. */
std::string called(const std::function<int()>& call) {
    queueHostError();
    return thrown([&] { EXPECT_EQ(call(), 0); });
}

} // namespace

Link::Link(bool tcp) {
    endAfter(300); // whoever waits for good ends the test
    int ends[2];
    if (tcp || !connectDirectly(ends)) {
        connectOverTcp(ends);
    }
    own = ends[0];
    far = ends[1];
}

Link::~Link() {
    abandon();
    hangUp();
    BIO_closesocket(own);
}

void Link::peer(const std::function<void()>& body) {
    join();
    m_thread = std::thread([body] {
        blockPipeSignal(); // for the library's thread it stays as it is
        body();
    });
}

void Link::join() {
    if (m_thread.joinable()) {
        m_thread.join();
    }
}

void Link::abandon() {
    endBothWays(own);
    join();
}

void Link::hangUp(bool reset) {
    if (reset) {
        resetOnClose(far);
    }
    if (far >= 0) {
        BIO_closesocket(std::exchange(far, -1));
    }
}

void Link::send(const std::string& bytes) const {
    BIO_write(socketBio(far).get(), bytes.data(), static_cast<int>(bytes.size()));
}

void relay(int first, int second, size_t piece, size_t cut) {
    const Owned<BIO> ends[] = {socketBio(first), socketBio(second)};
    std::string buffer(piece, '\0');
    while (cut > 0) {
        const auto [firstReady, secondReady] = awaitInput(first, second);
        for (const int from : {firstReady ? 0 : -1, secondReady ? 1 : -1}) {
            if (from >= 0) {
                const int got = BIO_read(ends[from].get(), buffer.data(), static_cast<int>(std::min(piece, cut)));
                if (got <= 0 || BIO_write(ends[1 - from].get(), buffer.data(), got) != got) {
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
