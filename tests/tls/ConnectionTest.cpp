// Connections with a well-behaved client, on every kind of socket.

#include <atomic>
#include <cstring>

#include "testlib/Platform.h"
#include "testlib/Testlib.h"
#include "testlib/TlsPeer.h"

namespace {

/** A client that connects, sends back each text that ends in a point, slowly, and answers the end. */
void echo(SSL* client) {
    char piece[1000];
    std::string text;
    EXPECT_EQ(SSL_connect(client), 1);
    for (int got = 0; (got = SSL_read(client, piece, sizeof piece)) > 0;) {
        text.append(piece, static_cast<size_t>(got));
        if (text.back() == '.') {
            EXPECT_GT(SSL_write(client, text.data(), static_cast<int>(text.size())), 0);
            text.clear();
        }
    }
    SSL_shutdown(client);
}

/** Sends such a text, and reads it back. */
void exchange(const Talk& talk, size_t size) {
    const std::string data = toHex(pseudoRandom(size / 2, 1)) + ".";
    std::string back;
    EXPECT_EQ(talk.write(data), "");
    while (back.size() < data.size() && back.find("Failed") == std::string::npos) {
        back += talk.read(7000);
    }
    EXPECT_TRUE(back == data) << size;
}

TEST(TlsConnection, OnEverySocket) {
    for (int way = 0; way < 16; ++way) {
        SCOPED_TRACE(way);
        Talk talk((way & 1) != 0);
        Link behind;
        if ((way & 4) != 0) { // byte by byte
            talk.client = clientAt(behind.far);
            talk.link.peer([&] { relay(talk.link.far, behind.own, 1); });
        }
        BIO_socket_nbio(talk.link.own, way & 2);
        talk.socket = static_cast<uint64_t>((way & 8) != 0 ? underHighNumber(talk.link.own) : talk.link.own);
        auto interruptions = std::make_unique<Interruptions>();
        Link& peer = (way & 4) != 0 ? behind : talk.link;
        peer.peer([&] { echo(talk.client.get()); });
        EXPECT_EQ(talk.accept(), "0");
        for (const size_t size : {0U, 100U, 16383U, 16385U, 1U << 20}) {
            exchange(talk, (way & 4) != 0 ? size % 1000 : size);
        }
        EXPECT_EQ(talk.finish(), "");
        interruptions.reset();
        peer.join();
        EXPECT_EQ(isBlocking(talk.link.own), (way & 2) == 0) << "open, and left as it is";
        talk.link.abandon(); // before the other link goes, whose sockets the relay uses
    }
    EXPECT_TRUE(Interruptions::haveWorked());
}

TEST(TlsConnection, BothWaysToEnd) {
    captureLog();
    for (const bool clientFirst : {true, false}) {
        Talk talk;
        EXPECT_EQ(talk.shakeHands(), "0");
        takeLog();
        talk.link.peer([&, client = talk.client.get()] {
            char byte = 0;
            EXPECT_EQ(clientFirst ? 0 : SSL_read(client, &byte, 1), 0); // otherwise it has more to say after our end
            EXPECT_TRUE(SSL_write(client, "abcdefgh", 8) == 8 && SSL_shutdown(client) >= 0);
            EXPECT_EQ(SSL_shutdown(client), 1);
        });
        if (clientFirst) {
            const std::vector<std::string> parts = {talk.read(3), talk.read(3), talk.read(3), talk.read(), talk.read()};
            EXPECT_EQ(parts, (std::vector<std::string>{"abc", "def", "gh", "", ""}));
            const std::string line = "2 - tlsRead: Peer has shut down the underlying transport, exiting gracefully";
            EXPECT_TRUE(logged({line, line}));
        }
        EXPECT_EQ(talk.finish(), "");
        EXPECT_TRUE(logged({}));
    }
}

TEST(TlsConnection, Flat) {
    captureLog();
    char buffer[8] = {};
    int count = 7;
    Talk talk;
    SSL* ssl = talk.server.get();
    SSL* none = nullptr;
    const auto refused = [](const std::string& step, int code) {
        const std::string again = "16 - cmncrypto_" + step + ": cmncrypto_" + step + " function failed. Error:";
        EXPECT_TRUE(code == 20 && logged({"16 - " + step + ": Invalid argument", again + "Invalid argument"})) << step;
    };
    takeLog();
    refused("tlsAccept", cmncrypto_tlsAccept(0, nullptr));
    refused("tlsAccept", cmncrypto_tlsAccept(0, &none));
    refused("tlsRead", cmncrypto_tlsRead(none, 0, 8, buffer, &count));
    refused("tlsRead", cmncrypto_tlsRead(ssl, 0, 8, nullptr, &count));
    refused("tlsRead", cmncrypto_tlsRead(ssl, 0, 8, buffer, nullptr));
    refused("tlsWrite", cmncrypto_tlsWrite(0, nullptr, 8, &ssl, &count));
    refused("tlsWrite", cmncrypto_tlsWrite(0, buffer, 8, nullptr, &count));
    refused("tlsWrite", cmncrypto_tlsWrite(0, buffer, 8, &none, &count));
    refused("tlsWrite", cmncrypto_tlsWrite(0, buffer, 8, &ssl, nullptr));
    refused("tlsFinish", cmncrypto_tlsFinish(none, 0));
    talk.link.peer([&] { echo(talk.client.get()); });
    EXPECT_EQ(cmncrypto_tlsAccept(talk.link.own, &ssl), 0);
    EXPECT_TRUE(cmncrypto_tlsWrite(talk.socket, "1234567.", 8, &ssl, &count) == 0 && count == 8);
    EXPECT_TRUE(cmncrypto_tlsRead(ssl, talk.socket, 8, buffer, &count) == 0 && std::string(buffer, 8) == "1234567.");
    EXPECT_EQ(cmncrypto_tlsFinish(talk.server.release(), talk.socket), 0);
}

/** A server goes on setting up connections while earlier ones shake hands, each with the list that it was given. */
TEST(TlsConnection, SetUpMeanwhile) {
    TLSOperations operations(CTX_INIT_CLIENT);
    std::atomic<int> left{3};
    std::vector<std::thread> threads;
    for (int thread = left; thread > 0; --thread) {
        std::vector<SSL*> made;
        for (int count = 0; count < 20; ++count) {
            made.push_back(serverBy(operations, "P-256", count % 2 == 0 ? "AES128" : "AES256").release());
        }
        threads.emplace_back([&left, made] {
            for (size_t count = 0; count < made.size(); ++count) {
                Talk talk(false, Owned<SSL>(made[count]));
                EXPECT_EQ(talk.shakeHands(), "0");
                EXPECT_NE(std::strstr(SSL_get_cipher(talk.client.get()), count % 2 == 0 ? "AES128" : "AES256"),
                          nullptr);
            }
            --left;
        });
    }
    for (int count = 0; left > 0; ++count) {
        serverBy(operations, "P-256", count % 3 == 0 ? "AES256" : "AES128");
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
}

TEST(TlsConnection, Parallel) {
    TLSOperations operations(CTX_INIT_CLIENT);
    std::vector<std::thread> threads;
    threads.reserve(8);
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([first = serverBy(operations).release(), second = serverBy(operations).release()] {
            for (SSL* const ssl : {first, second}) {
                Talk talk(false, Owned<SSL>(ssl));
                talk.link.peer([&] { echo(talk.client.get()); });
                EXPECT_EQ(talk.accept(), "0");
                exchange(talk, 20000);
                EXPECT_EQ(talk.finish(), "");
            }
        });
    }
    std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
}

TEST(TlsConnection, NothingIsKept) {
    TLSOperations operations(CTX_INIT_CLIENT);
    const Owned<X509> certificate = makeCertificate();
    const auto inUseAfter = [&](int connections) {
        for (int i = 0; i < connections; ++i) {
            SSL* ssl = nullptr;
            operations.tlsInitClient(certificate.get(), keyOf("P-256"), "DEFAULT", &ssl);
            Talk talk(i % 2 == 0, Owned<SSL>(ssl));
            talk.link.peer([&] { i % 3 == 0 ? talk.link.hangUp(i % 2 == 0) : echo(talk.client.get()); });
            EXPECT_EQ(talk.accept(), i % 3 == 0 ? "9120" : "0");
            if (i % 3 == 1) {
                exchange(talk, 100);
                EXPECT_EQ(talk.finish(), ""); // the others are left as they are
            }
        }
        return inUse();
    };
    const auto before = inUseAfter(50);
    const auto after = inUseAfter(500);
    EXPECT_EQ(after.first, before.first);
    EXPECT_LT(after.second, before.second + (1U << 18)) << "that of a hundred connections would be more";
}

} // namespace
