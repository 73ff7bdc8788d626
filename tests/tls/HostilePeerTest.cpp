// Peers that send rubbish, go away or stay silent, and sockets that are none.

#include <atomic>
#include <csignal>

#include "testlib/Platform.h"
#include "testlib/Testlib.h"
#include "testlib/TlsPeer.h"

namespace {

const std::string readFailed = "13 Failed in TLS read", writeFailed = "14 Failed in TLS write",
                  finishFailed = "9118 Failed in TLS Finish", timedOut = "9131 Timed out in TLS ";

TEST(TlsHostilePeer, Rubbish) {
    captureLog();
    for (const std::string hex :
         {"", "78", "00000000", "474554202f20485454502f312e310d0a0d0a", "1603010001", "160301ffff",
          "16030100040e000000", "15030100020100", "15030100020228", "170303000161", "140301000101",
          "802e0100020015000000100100800300800700c0", "16030100040100000016030100"}) {
        for (const size_t more : {0U, 1U, 100000U}) {
            Talk talk(true);
            talk.link.peer([&] {
                talk.link.send(fromHex(hex) + std::string(more, '\1'));
                talk.link.hangUp(hex.size() % 4 == 0);
            });
            EXPECT_EQ(talk.accept(), "9120") << hex;
            EXPECT_TRUE(logged("8 ", {"8 - tlsAccept: TLS handshake failed with error * error code #"}));
        }
    }
}

TEST(TlsHostilePeer, GoesAwayInTheHandshake) {
    Talk whole;
    EXPECT_EQ(whole.shakeHands(), "0");
    const uint64_t size = BIO_number_written(SSL_get_wbio(whole.client.get()));
    ASSERT_GT(size, 200U);
    for (uint64_t cut = 1; cut < size; cut += 9) {
        Talk talk(true);
        Link behind;
        talk.client = clientAt(behind.far);
        behind.peer([&] { SSL_connect(talk.client.get()); });
        talk.link.peer([&] {
            relay(talk.link.far, behind.own, 1000, cut);
            talk.link.hangUp(cut % 2 == 0);
        });
        EXPECT_EQ(talk.accept(), "9120") << cut;
    }
}

/** After the handshake; and what the system does to a process that writes then must not happen. */
TEST(TlsHostilePeer, GoesAwayLater) {
    captureLog();
    inOwnProcess([] {
        EXPECT_NE(std::signal(pipeSignal, SIG_DFL), SIG_ERR);
        for (int way = 0; way < 12; ++way) {
            SCOPED_TRACE(way);
            Talk talk(way % 4 < 2);
            EXPECT_EQ(talk.shakeHands(), "0");
            talk.link.hangUp(way % 2 == 0);
            takeLog();
            std::string failure = way < 4 ? talk.read() : "";
            for (int i = 0; i < 1000 && failure.empty() && way < 8; ++i) { // the first ones may go into buffers
                failure = talk.write(std::string(10000, 'x'));
            }
            EXPECT_EQ(failure, way < 4 ? readFailed : way < 8 ? writeFailed : "");
            const std::string read =
                "16 - tlsRead: Failed in TLS read with error Error - (#: *) error code # read_ret *";
            const std::string write = "16 - tlsWrite: Failed in TLS write with error Error - (#: *)";
            const std::vector<std::string> lines(way < 8 ? 1 : 0, way < 4 ? read : write);
            EXPECT_TRUE(logged(lines));
            EXPECT_EQ(talk.finish(), finishFailed);
            EXPECT_TRUE(logged({"16 - tlsFinish: Failed in TLS finish with error *"}));
            EXPECT_STREQ(SSL_get_version(talk.server.get()), "TLSv1.2") << "it is the caller's still";
        }
        EXPECT_EQ(std::signal(pipeSignal, SIG_DFL), SIG_DFL);
    });
}

TEST(TlsHostilePeer, SocketsThatAreNone) {
    constexpr uint64_t low = uint64_t{1} << 32; // a good number may be in the half below
    for (const uint64_t wrong :
         {uint64_t{900}, uint64_t{INT_MAX}, uint64_t{INT_MAX} + 1, low, low << 31, UINT64_MAX - 99}) {
        for (const std::string step : {"accept", "read", "write", "finish"}) {
            Talk talk;
            BIO_socket_nbio(talk.link.own, 1);
            EXPECT_TRUE(step == "accept" || talk.shakeHands() == "0");
            talk.socket += wrong;
            EXPECT_EQ(step == "accept"  ? talk.accept()
                      : step == "read"  ? talk.read()
                      : step == "write" ? talk.write(std::string(24 << 20, 'x'))
                                        : talk.finish(),
                      step == "accept"  ? "9120"
                      : step == "read"  ? readFailed
                      : step == "write" ? writeFailed
                                        : finishFailed)
                << wrong;
        }
    }
    const Owned<SSL> server = newServer();
    for (const int number : {-1, INT_MIN, 900}) {
        SSL* ssl = server.get();
        EXPECT_EQ(cmncrypto_tlsAccept(number, &ssl), 9120);
    }
}

TEST(TlsTimeout, EachCall) {
    captureLog();
    const auto limit = [](const Talk& talk, int milliseconds) {
        EXPECT_EQ(TLSOperations::setIoTimeout(talk.server.get(), milliseconds), 0);
    };
    for (const int nonBlocking : {0, 1}) {
        Talk talk;
        Talk unanswered;
        BIO_socket_nbio(talk.link.own, nonBlocking);
        limit(talk, 20);
        takeLog();
        EXPECT_EQ(talk.accept(), "9131");
        EXPECT_TRUE(logged("16 ", {"16 - tlsAccept: Timed out in TLS accept after 20 ms"}));
        limit(talk, -1);
        EXPECT_EQ(talk.shakeHands() + unanswered.shakeHands(), "00") << "it can go on";
        limit(talk, 20);
        EXPECT_EQ(talk.read(), timedOut + "read");
        EXPECT_TRUE(logged("16 ", {"16 - tlsRead: Timed out in TLS read after 20 ms"}));
        limit(talk, 0);
        talk.link.peer([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            SSL_write(talk.client.get(), "late", 4);
        });
        EXPECT_EQ(talk.read(), "late");
        limit(talk, 20);
        EXPECT_EQ(talk.write(std::string(8 << 20, 'x')), timedOut + "write");
        limit(unanswered, 20);
        EXPECT_EQ(unanswered.finish(), timedOut + "finish");
    }
    EXPECT_EQ(TLSOperations::setIoTimeout(nullptr, 20), 20);
}

/** Whatever arrives, and however fast: the limit is that of the call. */
TEST(TlsTimeout, PeersThatNeverComeToAnEnd) {
    for (const std::string step : {"accept", "read", "finish"}) {
        Talk talk;
        EXPECT_TRUE(step == "accept" || talk.shakeHands() == "0");
        TLSOperations::setIoTimeout(talk.server.get(), 50);
        std::atomic<bool> over{false};
        int drops = 0;
        talk.link.peer([&] {
            talk.link.send(step == "finish" ? "" : fromHex(step == "accept" ? "1603014000" : "1703034000"));
            for (; !over && drops < 16000; drops += step == "finish" ? 0 : 1) {
                step == "finish" ? void(SSL_write(talk.client.get(), "x", 1))
                                 : (talk.link.send("x"), std::this_thread::sleep_for(std::chrono::microseconds(500)));
            }
        });
        const std::string result = step == "accept" ? talk.accept() : step == "read" ? talk.read() : talk.finish();
        over = true;
        EXPECT_EQ(result, step == "accept" ? "9131" : timedOut + step);
        talk.link.abandon();
        EXPECT_LT(drops, 16000) << "it ended before the record";
    }
    Talk talk;
    std::string pieces = fromHex("160301000401004e20"); // a message byte by byte, all there: nothing is waited for
    for (int i = 0; i < 20000; ++i) {
        pieces += fromHex("160301000100");
    }
    talk.link.send(pieces);
    TLSOperations::setIoTimeout(talk.server.get(), 1);
    EXPECT_EQ(talk.accept(), "9131");
}

} // namespace
