#include <climits>

#include "faults/Faults.h"
#include "faults/Operations.h"
#include "testlib/TlsPeer.h"

using namespace faults;

namespace {

/** Sets up a connection, which is there on success only. */
template <class Init> std::function<std::string()> setUp(CTX_INIT_TYPE type, const Init& init) {
    return made([=] {
        TLSOperations operations(type);
        Out<SSL> out;
        failing([&] { init(operations, &out.raw); }, [&] { return out.raw == nullptr; });
        return out.raw != nullptr;
    });
}

/** Uses a connection whose client has said all that it has to; a failure leaves a count of 0. */
template <class Use> std::function<std::string()> connected(const Use& use) {
    return made([=] {
        const auto talk = spared([] { return std::make_unique<Talk>(); });
        spared([&] { talk->shakeHands(), SSL_write(talk->client.get(), "1234", 4), SSL_shutdown(talk->client.get()); });
        int count = 7;
        failing([&] { use(*talk, count); }, [&] { return count == 0; });
        return count;
    });
}

TEST(TlsFaults, LongWrites) {
    constexpr uint64_t most = INT_MAX;
    const Owned<SSL> server = newServer();
    for (const uint64_t length : {most - 1, most, most + 1, 2 * most + 1, 2 * most + 2, 2 * most + 3, UINT64_MAX}) {
        int count = 7;
        SSL* ssl = server.get();
        plan("SSL_write", "x");
        EXPECT_EQ(cmncrypto_tlsWrite(0, &count, length, &ssl, &count), 14);
        EXPECT_EQ(lengths("SSL_write"), std::vector<size_t>{std::min(length, most)});
        clear();
    }
}

} // namespace

Operations faults::tlsOperations(const Folder& folder) {
    Operations all;
    static const Owned<X509> certificate = makeCertificate();
    const std::string path = folder.write("server", pemOf("cert:P-256+cert:P-384+pkcs8:P-256"));
    const std::string phrase = folder.write("phrase", "secret");
    all["tlsInitClient"] = setUp(CTX_INIT_CLIENT, [](TLSOperations& operations, SSL** ssl) {
        operations.tlsInitClient(certificate.get(), keyOf("P-256"), "DEFAULT", ssl);
    });
    all["tlsInitMaster"] = setUp(CTX_INIT_MASTER, [=](TLSOperations& operations, SSL** ssl) {
        const CertInfoPath paths = {path.c_str(), path.c_str(), path.c_str(), phrase.c_str()};
        operations.tlsInitMaster(&paths, "DEFAULT", 1, ssl);
    });
    all["tlsAccept"] = made([] {
        const auto talk = spared([] { return std::make_unique<Talk>(); });
        spared([&] { talk->link.peer([&] { SSL_connect(talk->client.get()); }); });
        SSL* ssl = talk->server.get();
        return TLSOperations::tlsAccept(talk->socket, &ssl);
    });
    all["tlsRead"] = connected([](const Talk& talk, int& count) {
        char data[8];
        TLSOperations::tlsRead(talk.server.get(), talk.socket, 8, data, &count);
    });
    all["tlsWrite"] = connected([](const Talk& talk, int& count) {
        SSL* ssl = talk.server.get();
        TLSOperations::tlsWrite(talk.socket, "1234", 4, &ssl, &count);
    });
    all["tlsFinish"] = connected([](Talk& talk, int& count) {
        count = 0;
        TLSOperations::tlsFinish(talk.server.get(), talk.socket);
        static_cast<void>(talk.server.release());
    });
    all["setIoTimeout"] = made([] { return TLSOperations::setIoTimeout(spared(newServer).get(), 5); });
    return all;
}
