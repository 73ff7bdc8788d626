// Certificates, keys and chains of a store in TLS contexts, and how long they live there.

#include "libwincertstore/Bridge.h"

#include <array>
#include <atomic>
#include <map>
#include <stdexcept>
#include <thread>

#include "testlib/TlsPeer.h"

using namespace bridge;

namespace {

using Filters = std::list<std::shared_ptr<CertificateFilter>>;

Owned<SSL_CTX> newContext() {
    Owned<SSL_CTX> context(SSL_CTX_new(TLS_server_method()));
    SSL_CTX_set_max_proto_version(context.get(), TLS1_2_VERSION);
    SSL_CTX_set_options(context.get(), SSL_OP_CIPHER_SERVER_PREFERENCE);
    return context;
}

/** A certificate by the authority of another name; authorities have keys of their names. */
Owned<X509> issued(const std::string& subject, const std::string& issuer) {
    const auto change = [&](X509* made) {
        X509_set_subject_name(made, nameFrom("CN=" + subject.substr(0, subject.find('#'))).get());
        X509_set_issuer_name(made, nameFrom("CN=" + issuer).get());
        X509_add_ext(made, makeExtension(NID_basic_constraints, fromHex("30030101ff")).get(), -1);
    };
    return makeCertificate(subject == "host" ? "RSA-2048" : "P-256#" + subject, change, EVP_sha256(),
                           "P-256#" + issuer);
}

/**
 * The result of a handshake; for whatever the store has signed in it the handle and the length; and how many
 * certificates are sent with the first.
 */
std::string meet(FakeBridge& fake, Owned<SSL> server, const std::function<void(SSL*)>& adjust = nullptr) {
    Talk talk(false, std::move(server));
    if (adjust) {
        adjust(talk.client.get());
    }
    fake.signer.takeCalls();
    const std::string text = talk.shakeHands();
    std::string result = text.substr(0, text.find(' '));
    for (const std::string& call : fake.signer.takeCalls()) {
        const size_t end = call.find(" pkcs1 ");
        result += "," + call.substr(8, end - 8) + ":" + std::to_string((call.size() - end - 7) / 2);
    }
    const int sent = sk_X509_num(SSL_get_peer_cert_chain(talk.client.get()));
    return sent > 1 ? result + "+" + std::to_string(sent - 1) : result;
}

std::string meet(FakeBridge& fake, const Owned<SSL_CTX>& context) {
    return meet(fake, Owned<SSL>(SSL_new(context.get())));
}

TEST(Bridge, PartsGoInAnyOrder) {
    std::array<size_t, 5> order = {0, 1, 2, 3, 4};
    do {
        FakeBridge fake;
        auto helper = std::make_unique<Helper>(path, nullptr, Filters());
        Owned<SSL_CTX> context = newContext();
        ASSERT_EQ(helper->get_ssl_ctx(nullptr, context.get()), 0);
        std::shared_ptr<CertificateSelector> selector = helper->GetCertificateSelector();
        Owned<SSL> connection(SSL_new(context.get()));
        const std::function<void()> ends[] = {[&] { context.reset(); }, [&] { connection.reset(); },
                                              [&] { helper.reset(); }, [&] { selector.reset(); },
                                              [] { setCertStorePlatform(nullptr); }};
        for (const size_t part : order) {
            ends[part]();
            EXPECT_EQ(fake.signer.keysHeld, context || connection || helper ? 1 : 0);
            if (connection) {
                RSA* const key = rsaOf(SSL_get_privatekey(connection.get()));
                EXPECT_EQ(rsa(RSA_public_decrypt, rsa(RSA_private_encrypt, "data", RSA_PKCS1_PADDING, key)), "data");
            }
        }
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(Bridge, Renewal) {
    FakeBridge fake;
    Helper helper(path, nullptr, {});
    const Owned<SSL_CTX> context = newContext();
    const Owned<SSL_CTX> another = newContext();
    EXPECT_EQ(helper.get_ssl_ctx(nullptr, context.get()) + helper.get_ssl_ctx(nullptr, another.get()), 0);
    EXPECT_EQ(fake.signer.keysHeld, 2);
    Owned<SSL> open(SSL_new(context.get()));
    for (const uintptr_t handle : {8U, 9U, 5U, 6U}) {
        fake.platform->stores["MY"] = {inStore(makeCertificate("RSA-2048"), handle)};
        EXPECT_EQ(helper.get_ssl_ctx("", context.get()), 0);
        EXPECT_EQ(meet(fake, context), "0," + std::to_string(handle) + ":83");
        EXPECT_LE(fake.signer.keysHeld, 4) << "that of open, another's, the present one, and the one before it";
    }
    EXPECT_EQ(meet(fake, std::move(open)) + meet(fake, another), "0,7:830,7:83");
}

TEST(Bridge, FailedRenewal) {
    FakeBridge fake;
    Helper helper(path, nullptr, {});
    const Owned<SSL_CTX> context = newContext();
    const auto load = [&](const FakeCertificate& certificate, SSL_CTX* to) {
        return helper.load_certificate_key_in_ssl_ctx(WinCertStoreCertificate(fake.platform->context(certificate)), to);
    };
    FakeCertificate chained = fake.platform->stores["MY"][0];
    chained.issuers = {inStore(issued("middle", "root"))};
    EXPECT_EQ(load(chained, context.get()), 0);
    const X509* const before = SSL_CTX_get0_certificate(context.get());
    for (const auto& row : readRows("bridge-failures.txt")) {
        const size_t broken = row[0][0] == '!' ? 1 : 0;
        FakeCertificate made = inStore(makeCertificate(row[0].substr(broken)), 8);
        made.issuers.resize(broken);
        SSL_CTX_set_cipher_list(context.get(), row[3].c_str());
        fake.platform->fail(row[1], static_cast<uint32_t>(std::stoul(row[2], nullptr, 16)));
        EXPECT_EQ(std::to_string(load(made, context.get())), row[4]) << row[0] << " " << row[1];
        fake.platform->clear();
        SSL_CTX_set_cipher_list(context.get(), "ALL");
        EXPECT_EQ(SSL_CTX_get0_certificate(context.get()), before);
        EXPECT_EQ(meet(fake, context), "0,7:83+1");
    }
    EXPECT_EQ(helper.load_certificate_key_in_ssl_ctx(WinCertStoreCertificate(), context.get()), 20);
    EXPECT_EQ(load(chained, nullptr) + load(fake.platform->stores["MY"][0], context.get()), 20);
    EXPECT_EQ(meet(fake, context), "0,7:83");
}

struct LastOne : CertificateFilter {
    int Filter(const std::list<WinCertStoreCertificate>& in, std::list<WinCertStoreCertificate>& out) override {
        out.push_back(in.back());
        return 0;
    }
};

TEST(Bridge, Selection) {
    FakeBridge fake;
    const Owned<SSL_CTX> context = newContext();
    fake.platform->stores["OTHER"] = {inStore(makeCertificate("RSA-2048"), 8), inStore(makeCertificate("RSA-2048"), 9)};
    Helper helper(path, nullptr, {std::make_shared<LastOne>()});
    EXPECT_EQ(helper.GetCertificateSelector()->GetCertPath(), path);
    for (const auto& row : readRows("bridge-paths.txt")) {
        const int code = helper.get_ssl_ctx(row[0] == "null" ? nullptr : row[0].c_str(), context.get());
        EXPECT_EQ(code == 0 ? meet(fake, context) : std::to_string(code), row[2]);
        EXPECT_EQ(helper.GetCertificateSelector()->GetCertPath(), row[1]);
    }
    EXPECT_EQ(helper.get_ssl_ctx(nullptr, nullptr), 20);
    int answer = 0;
    Helper careful(
        path, [&](auto&) { return answer == 17 ? throw std::runtime_error("why") : WinCertStoreError(answer); }, {});
    for (answer = -1; answer < 17; ++answer) {
        const int code = WinCertStoreCommon::WinCertToQXError(WinCertStoreError(answer));
        EXPECT_EQ(careful.get_ssl_ctx(nullptr, newContext().get()), code);
    }
    takeLog();
    EXPECT_EQ(careful.get_ssl_ctx(nullptr, context.get()), -1);
    EXPECT_TRUE(failuresLogged({"16 - WinCertStoreOpenSSLHelper::get_ssl_ctx: The validator * failed: why"}));
    EXPECT_EQ(meet(fake, context), "0,7:83");
}

std::string suitesOf(const Owned<SSL_CTX>& context) {
    std::string names;
    for (int i = 0; i < sk_SSL_CIPHER_num(SSL_CTX_get_ciphers(context.get())); ++i) {
        const std::string name = SSL_CIPHER_get_name(sk_SSL_CIPHER_value(SSL_CTX_get_ciphers(context.get()), i));
        names += name.find("TLS_") == 0 ? "" : name + ":"; // those of TLS 1.3 have a list of their own
    }
    return names;
}

TEST(Bridge, SuitesThatAreLeft) {
    captureLog();
    const Owned<SSL_CTX> context = newContext();
    const std::string unfit = "AES128-SHA:RSA-PSK-AES128-CBC-SHA256:AES256-GCM-SHA384:RSA-PSK-CHACHA20-POLY1305:";
    const std::string fit = "ECDHE-RSA-AES128-SHA:DHE-RSA-AES256-SHA:PSK-AES128-CBC-SHA:ECDHE-ECDSA-AES128-SHA:"
                            "ECDHE-PSK-AES128-CBC-SHA:SRP-RSA-AES-128-CBC-SHA:DHE-PSK-AES128-CBC-SHA:";
    SSL_CTX_set_cipher_list(context.get(), (unfit + fit + "AES128-GCM-SHA256").c_str());
    for (const int round : {1, 2}) {
        EXPECT_EQ(Helper::prepare_ssl_ctx(context.get()), 0);
        EXPECT_EQ(suitesOf(context), fit) << round;
    }
    SSL_CTX_set_cipher_list(context.get(), unfit.c_str());
    EXPECT_EQ(Helper::prepare_ssl_ctx(context.get()) + Helper::prepare_ssl_ctx(nullptr), 9110 + 20);
    EXPECT_TRUE(logged({"16 - WinCertStoreOpenSSLHelper::prepare_ssl_ctx: No cipher suite is left *"}));
}

std::string namesIn(const STACK_OF(X509)* stack) {
    std::string names;
    for (int i = 0; i < sk_X509_num(stack); ++i) {
        names += (i == 0 ? "" : ",") + rfc2253(X509_get_subject_name(sk_X509_value(stack, i))).substr(3);
    }
    return names;
}

TEST(Bridge, Chains) {
    FakeBridge fake;
    std::map<char, FakeCertificate> known = {{'h', inStore(issued("host", "middle"))}};
    known['m'] = inStore(issued("middle", "root"));
    known['r'] = inStore(issued("root", "root"));
    for (const auto& row : readRows("bridge-chains.txt")) {
        FakeCertificate first = known[row[0][0]];
        std::for_each(row[0].begin() + 1, row[0].end(), [&](char name) { first.issuers.push_back(known[name]); });
        const WinCertStoreCertificate certificate(fake.platform->context(first));
        STACK_OF(X509)* made[] = {nullptr, nullptr};
        X509* root = nullptr;
        EXPECT_EQ(std::to_string(Helper::get_cert_chain_x509_sk(certificate, &made[0])), row[1]);
        EXPECT_EQ(std::to_string(Helper::get_intermediates_x509_sk(certificate, &made[1])), row[1]);
        EXPECT_EQ(std::to_string(Helper::get_root_cert_x509(certificate, &root)), row[2]);
        const Owned<STACK_OF(X509)> chain(made[0]);
        const Owned<STACK_OF(X509)> sent(made[1]);
        const Owned<X509> owner(root);
        EXPECT_EQ(namesIn(made[0]), row[3]);
        EXPECT_EQ(namesIn(made[1]), row[4]);
        EXPECT_EQ(Helper::getSubjectFromX509Cert(root), row[2] == "0" ? "CN = root" : "");
        EXPECT_EQ(Helper::is_root_cert(root), row[2] == "0");
    }
}

Owned<SSL> storeServer(TLSOperations& operations) {
    const CertInfoPath paths = {"", path.c_str(), "", ""};
    operations.setWinCertStoreOpenSSLHelper(std::make_shared<Helper>("", nullptr, Filters()));
    SSL* made = nullptr;
    EXPECT_EQ(thrown([&] { operations.tlsInitMaster(&paths, "ALL", 0, &made); }), "");
    return Owned<SSL>(made);
}

TEST(BridgeHandshake, Clients) {
    FakeBridge fake;
    TLSOperations operations(CTX_INIT_MASTER);
    for (const auto& row : readRows("bridge-clients.txt")) {
        const auto adjust = [&](SSL* client) {
            EXPECT_TRUE(row[0].empty() || SSL_set1_sigalgs_list(client, row[0].c_str()) == 1);
            SSL_set_cipher_list(client, row[1].c_str());
            SSL_set_max_proto_version(client, std::stoi(row[2], nullptr, 16));
        };
        EXPECT_EQ(meet(fake, storeServer(operations), adjust), row[3]) << row[0] << " " << row[1];
    }
    Owned<SSL> refused = storeServer(operations);
    fake.signer.fail("signCng", 5);
    EXPECT_EQ(meet(fake, std::move(refused)), "9120,7:83");
    fake.signer.clear();
    EXPECT_EQ(meet(fake, storeServer(operations)), "0,7:83");
    fake.signer.sign = [](bool, const std::string& data) { return data; };
    EXPECT_EQ(meet(fake, storeServer(operations)), "9120,7:83");
    for (const char* kind : {"RSA-3072", "RSA-4096"}) {
        FakeBridge larger(kind);
        TLSOperations others(CTX_INIT_MASTER);
        EXPECT_EQ(meet(larger, storeServer(others)), "0,7:83");
    }
}

TEST(BridgeHandshake, ManyAtOnce) {
    const RealStore real(issued("host", "middle").get());
    for (const auto& [name, by] : {std::pair("middle#2", "root"), {"middle", "root"}, {"root", "root"}}) {
        real.folder.write(std::string("MY/") + name + ".pem", pem(issued(name, by).get()));
    }
    Helper helper(path, nullptr, {});
    Helper renewing(path, nullptr, {});
    const Owned<SSL_CTX> context = newContext();
    ASSERT_EQ(helper.get_ssl_ctx("", context.get()), 0);
    std::atomic<int> left{8};
    std::vector<std::thread> threads(8);
    for (std::thread& thread : threads) {
        thread = std::thread([&] {
            for (int round = 0; round < 4; ++round) {
                Talk talk(false, Owned<SSL>(SSL_new(context.get())));
                EXPECT_EQ(talk.shakeHands(), "0");
                const STACK_OF(X509)* const sent = SSL_get_peer_cert_chain(talk.client.get());
                EXPECT_EQ(namesIn(sent), "host,middle");
                EXPECT_EQ(kindOf(X509_get0_pubkey(sk_X509_value(sent, 1))), "P-256#middle");
            }
            --left;
        });
    }
    const Owned<SSL_CTX> another = newContext();
    while (left > 0) {
        EXPECT_EQ(renewing.get_ssl_ctx("", another.get()), 0);
    }
    std::for_each(threads.begin(), threads.end(), [](auto& thread) { thread.join(); });
}

} // namespace
