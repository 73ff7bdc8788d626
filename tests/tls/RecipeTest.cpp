// What a server made from a certificate and key in memory accepts, and what it negotiates.
// The DH group to compare with is a deprecated object.
#define OPENSSL_SUPPRESS_DEPRECATED

#include <map>
#include <set>

#include "testlib/Platform.h"
#include "testlib/Testlib.h"
#include "testlib/TlsPeer.h"

namespace {

using Lines = std::vector<std::string>;
const std::string initFailed = "INIT of Context failed";

TEST(TlsRecipe, Types) {
    captureLog();
    for (const int type : {-1, 2, 3, INT_MAX, INT_MIN}) {
        fails("TLSOperations", {{[=] { TLSOperations(CTX_INIT_TYPE(type)); }, "-1 Unknown date type"}});
    }
    SSL* ssl = nullptr;
    const CertInfoPath paths{};
    TLSOperations master(CTX_INIT_MASTER);
    TLSOperations client(CTX_INIT_CLIENT);
    const Owned<X509> certificate = makeCertificate();
    for (SSL** const to : {&ssl, static_cast<SSL**>(nullptr)}) {
        EXPECT_EQ(thrown([&] { master.tlsInitClient(certificate.get(), keyOf("P-256"), "DEFAULT", to); }),
                  "20 " + initFailed);
        EXPECT_EQ(thrown([&] { client.tlsInitMaster(&paths, "DEFAULT", 0, to); }), "20 " + initFailed);
        EXPECT_EQ(thrown([&] { master.tlsInitMaster(nullptr, "DEFAULT", 0, to); }), "20 " + initFailed);
    }
}

TEST(TlsRecipe, WhatIsRefused) {
    captureLog();
    for (const Lines& row : blankRows("tls-clients.txt")) {
        SCOPED_TRACE(testing::PrintToString(row));
        const Owned<X509> certificate = row[0].empty() ? nullptr : makeCertificate(row[0]);
        EVP_PKEY* const key = row[1].empty() ? nullptr : keyOf(row[1]);
        const char* const ciphers = row[2] == "null" ? nullptr : row[2].c_str();
        Lines lines = {"16 - " + row[4], "16 - tlsInitClient: Error: " + initFailed};
        int code = 0;
        SSL* ssl = nullptr;
        TLSOperations operations(CTX_INIT_CLIENT);
        serverBy(operations, row[3] == "9130" ? row[0] : "P-256"); // not the first one
        const auto init = [&] { operations.tlsInitClient(certificate.get(), key, ciphers, &ssl); };
        EXPECT_TRUE(fails(init, row[3] + " " + initFailed, lines));
        lines.push_back("16 - cmncrypto_tlsInitClient: cmncrypto_tlsInitClient function failed. Error:" + initFailed);
        ssl = reinterpret_cast<SSL*>(&code);
        const auto flat = [&] { code = cmncrypto_tlsInitClient(certificate.get(), key, ciphers, &ssl); };
        EXPECT_TRUE(fails(flat, "", lines) && ssl == nullptr && code == std::stoi(row[3]));
        EXPECT_EQ(Talk(false, serverBy(operations)).shakeHands(), "0") << "it can be used on";
    }
}

TEST(TlsRecipe, Log) {
    captureLog();
    TLSOperations operations(CTX_INIT_CLIENT);
    for (const char* ciphers : {"ALL:@SECLEVEL=3", "DEFAULT", "ALL:@SECLEVEL=3"}) { // a level too high for the group
        takeLog();
        EXPECT_TRUE(serverBy(operations, "P-256", ciphers));
        EXPECT_TRUE(
            logged({"2 - initCiphers: Successfully initialized DH", "2 - initCiphers: Successfully initialized ECDH",
                    "2 - tls_ctx_init_client: Method successfully completed"}));
    }
}

/** The kind of key in the certificate that a client is shown, or the server's code. */
std::string shown(Owned<SSL> server, const char* ciphers = "ALL") {
    Talk talk(false, std::move(server));
    SSL_set_cipher_list(talk.client.get(), ciphers);
    const std::string result = talk.shakeHands();
    const Owned<X509> peer(SSL_get1_peer_certificate(talk.client.get()));
    return peer ? kindOf(X509_get0_pubkey(peer.get())) : result;
}

TEST(TlsRecipe, EachConnectionHasWhatItWasGiven) {
    auto first = std::make_unique<TLSOperations>(CTX_INIT_CLIENT);
    Owned<SSL> earlier = serverBy(*first, "RSA-2048");
    EXPECT_EQ(shown(serverBy(*first, "P-256")), "P-256");
    EXPECT_EQ(shown(serverBy(*first, "RSA-2048"), "aECDSA"), "9120") << "nothing of the one before";
    EXPECT_EQ(shown(serverBy(*first, "P-256#b"), "aRSA"), "9120");
    TLSOperations copy(*first);
    TLSOperations assigned(CTX_INIT_MASTER);
    Owned<SSL> fromCopy = serverBy(copy, "P-256#b");
    assigned = *first;
    assigned = *&assigned;
    first.reset();
    EXPECT_EQ(shown(serverBy(assigned)) + shown(serverBy(copy, "RSA-2048")), "P-256RSA-2048");
    assigned = TLSOperations(CTX_INIT_MASTER);
    EXPECT_EQ(thrown([&] { serverBy(assigned); }), "20 " + initFailed);
    EXPECT_EQ(shown(std::move(earlier), "aRSA") + shown(std::move(fromCopy)), "RSA-2048P-256#b");
}

TEST(TlsRecipe, Versions) {
    TLSOperations operations(CTX_INIT_CLIENT);
    for (const char* ciphers : {"DEFAULT", "ALL:@SECLEVEL=0"}) {
        for (int lowest = TLS1_VERSION; lowest <= TLS1_3_VERSION; ++lowest) {
            for (int highest = lowest; highest <= TLS1_3_VERSION; ++highest) {
                Talk talk(false, serverBy(operations, "RSA-2048", ciphers));
                SSL_set_cipher_list(talk.client.get(), "ALL:@SECLEVEL=0"); // so that it does offer the old ones
                SSL_set_min_proto_version(talk.client.get(), lowest);
                SSL_set_max_proto_version(talk.client.get(), highest);
                const bool fits = lowest <= TLS1_2_VERSION && highest >= TLS1_2_VERSION;
                EXPECT_EQ(talk.shakeHands(), fits ? "0" : "9120") << lowest << " to " << highest;
                EXPECT_TRUE(!fits || SSL_version(talk.client.get()) == TLS1_2_VERSION);
            }
        }
    }
}

TEST(TlsRecipe, VersionsDespiteTheConfiguration) {
    const Folder folder;
    for (const std::string line : {"MinProtocol = TLSv1.3", "MaxProtocol = TLSv1.1", "Options = ServerPreference"}) {
        const std::string path =
            folder.write("openssl.cnf", "openssl_conf = a\n[a]\nssl_conf = b\n[b]\nsystem_default = c\n[c]\n" + line);
        inOwnProcess([&] {
            setEnvironment("OPENSSL_CONF", path);
            Talk talk;
            SSL_set_min_proto_version(talk.client.get(), TLS1_2_VERSION);
            SSL_set_max_proto_version(talk.client.get(), TLS1_3_VERSION);
            EXPECT_EQ(talk.shakeHands(), "0") << line;
            EXPECT_EQ(SSL_version(talk.client.get()), TLS1_2_VERSION);
        });
    }
}

TEST(TlsRecipe, Suites) {
    TLSOperations operations(CTX_INIT_CLIENT);
    captureLog();
    for (const Lines& row : readRows("tls-suites.txt")) {
        Talk talk(false, serverBy(operations, row[1], row[0].c_str()));
        SSL_set_cipher_list(talk.client.get(), row[2].c_str());
        SSL_set_max_proto_version(talk.client.get(), TLS1_2_VERSION);
        EXPECT_EQ(talk.shakeHands(), row[3].empty() ? "9120" : "0") << testing::PrintToString(row);
        EXPECT_TRUE(row[3].empty() || SSL_get_cipher_name(talk.client.get()) == row[3]) << row[3];
        EXPECT_TRUE(logged(
            "8 ", Lines(row[3].empty() ? 1 : 0,
                        "8 - tlsAccept: TLS handshake failed with error Error - (#: *no shared cipher) error code 1")));
    }
}

TEST(TlsRecipe, EphemeralKeys) {
    TLSOperations operations(CTX_INIT_CLIENT);
    const Owned<DH> group(get_dh2048());
    std::set<std::string> seen;
    for (int i = 0; i < 6; ++i) {
        Talk talk(false, serverBy(operations, "RSA-2048", i % 2 == 0 ? "DHE" : "ECDHE"));
        EXPECT_EQ(talk.shakeHands(), "0");
        EVP_PKEY* raw = nullptr;
        ASSERT_EQ(SSL_get_peer_tmp_key(talk.client.get(), &raw), 1);
        const Owned<EVP_PKEY> key(raw);
        const Owned<BIGNUM> prime(BN_new());
        const Owned<BIGNUM> generator(BN_new());
        BIGNUM* p = prime.get();
        BIGNUM* g = generator.get();
        EXPECT_EQ(EVP_PKEY_get_bn_param(raw, "p", &p) + EVP_PKEY_get_bn_param(raw, "g", &g), i % 2 == 0 ? 2 : 0);
        EXPECT_TRUE(i % 2 == 1 || (BN_cmp(p, DH_get0_p(group.get())) == 0 && BN_is_word(g, 2)));
        seen.insert(publicPem(raw));
    }
    EXPECT_EQ(seen.size(), 6U);
}

/** The handshake messages that a client receives, by their types. */
struct Messages : std::map<int, int> {
    explicit Messages(SSL* client) {
        SSL_set_msg_callback(client, [](int sent, int, int content, const void* message, size_t, SSL*, void* counts) {
            if (sent == 0 && content == SSL3_RT_HANDSHAKE) {
                ++(*static_cast<Messages*>(counts))[*static_cast<const unsigned char*>(message)];
            }
        });
        SSL_set_msg_callback_arg(client, this);
    }
};

TEST(TlsRecipe, EveryHandshakeIsWhole) {
    TLSOperations operations(CTX_INIT_CLIENT);
    for (const uint64_t options : {uint64_t{0}, uint64_t{SSL_OP_NO_TICKET}}) {
        std::shared_ptr<SSL_SESSION> session;
        for (const bool forged : {false, false, true}) {
            Talk talk(false, serverBy(operations));
            const Messages messages(talk.client.get());
            SSL_set_options(talk.client.get(), options);
            if (forged) { // a client that has never been given any
                SSL_SESSION_set1_id(session.get(), bytes(std::string(32, 'i')), 32);
            }
            EXPECT_TRUE(session == nullptr || SSL_set_session(talk.client.get(), session.get()) == 1);
            EXPECT_EQ(talk.shakeHands(), "0");
            EXPECT_EQ(SSL_session_reused(talk.client.get()), 0);
            session.reset(SSL_get1_session(talk.client.get()), SSL_SESSION_free);
            unsigned length = 0;
            SSL_SESSION_get_id(session.get(), &length);
            EXPECT_TRUE(length == 0 && SSL_SESSION_has_ticket(session.get()) == 0) << "nothing to come back with";
            const std::map<int, int> whole = {{2, 1}, {11, 1}, {12, 1}, {14, 1}, {20, 1}};
            EXPECT_EQ(messages, whole) << "no ticket (4), no certificate asked for (13)";
        }
    }
}

TEST(TlsRecipe, NoRenegotiation) {
    Talk talk;
    EXPECT_EQ(talk.shakeHands(), "0");
    const Messages messages(talk.client.get());
    talk.link.peer([&] {
        SSL_write(talk.client.get(), "before", 6);
        SSL_renegotiate(talk.client.get());
        EXPECT_NE(SSL_do_handshake(talk.client.get()), 1);
    });
    EXPECT_EQ(talk.read(), "before");
    EXPECT_EQ(talk.read(), "13 Failed in TLS read");
    talk.link.join();
    EXPECT_TRUE(messages.empty());
}

} // namespace
