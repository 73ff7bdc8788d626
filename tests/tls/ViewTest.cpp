#include <openssl/ssl.h>

#include "revocation/Situations.h"
#include "testlib/Testlib.h"

namespace {

/** What the callback has seen, and the error that it is to report. */
struct Note {
    SSL* ssl = nullptr;
    int calls = 0, lists = 0, error = 0;
};
int noteIndex = -1;
Note withoutTls;

int callback(int ok, X509_STORE_CTX* context) {
    X509StoreCtx view(context);
    SecureSocketLayer* const found = view.getSSL();
    Note& note = found == nullptr ? withoutTls : *static_cast<Note*>(found->getSslCtx().getExData(noteIndex));
    note.ssl = found == nullptr ? nullptr : found->get();
    note.calls += 1;
    note.lists += view.getCurrentCrl() == nullptr ? 0 : 1;
    EXPECT_EQ(view.getCertChain(), X509_STORE_CTX_get0_chain(context));
    EXPECT_EQ(view.getCurrentCert(), X509_STORE_CTX_get_current_cert(context));
    EXPECT_EQ(view.getCurrentCrl(), X509_STORE_CTX_get0_current_crl(context));
    EXPECT_EQ(view.getError(), X509_STORE_CTX_get_error(context));
    EXPECT_EQ(view.getErrorDepth(), X509_STORE_CTX_get_error_depth(context));
    view.setErrorValue(note.error != 0 ? note.error : view.getError());
    return note.error != 0 ? 0 : ok;
}

/** Both ends over memory, the server with a chain to the root. */
bool shakeHands(SSL* client) {
    const std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_server_method()), SSL_CTX_free);
    SSL_CTX_use_certificate(context.get(), certificateOf("leaf<int"));
    SSL_CTX_use_PrivateKey(context.get(), keyOf("P-256#leaf"));
    SSL_CTX_add1_chain_cert(context.get(), certificateOf("int<root"));
    const std::shared_ptr<SSL> server(SSL_new(context.get()), SSL_free);
    BIO* ends[2];
    BIO_new_bio_pair(&ends[0], 0, &ends[1], 0);
    SSL_set_bio(client, ends[0], ends[0]);
    SSL_set_bio(server.get(), ends[1], ends[1]);
    for (int i = 0; i < 10; ++i) {
        SSL_connect(client);
        SSL_accept(server.get());
    }
    return SSL_is_init_finished(client) == 1 && SSL_is_init_finished(server.get()) == 1;
}

TEST(Views, InAHandshake) {
    const int unused = SslCtx::getNewIndex();
    noteIndex = SslCtx::getNewIndex();
    EXPECT_TRUE(unused >= 0 && noteIndex >= 0 && noteIndex != unused);
    for (const int error : {X509_V_OK, cmncrypto_getSSLVerifyErrorCode(3)}) {
        const std::shared_ptr<SSL_CTX> context(SSL_CTX_new(TLS_client_method()), SSL_CTX_free);
        X509_STORE_add_cert(SSL_CTX_get_cert_store(context.get()), certificateOf("root<root"));
        SslCtx view(context.get());
        EXPECT_EQ(view.getExData(noteIndex), nullptr);
        Note note;
        note.error = error;
        EXPECT_EQ(view.setExData(noteIndex, &note), 1);
        EXPECT_TRUE(view.getExData(noteIndex) == &note && view.getExData(unused) == nullptr);
        for (const int mode : {SSL_VERIFY_NONE, SSL_VERIFY_PEER | SSL_VERIFY_CLIENT_ONCE, SSL_VERIFY_PEER}) {
            for (const auto given : {&callback, static_cast<decltype(&callback)>(nullptr), &callback}) {
                SSL_CTX_set_verify(context.get(), mode, nullptr);
                view.setVerifyCallback(given);
                EXPECT_EQ(SSL_CTX_get_verify_mode(context.get()), mode);
                EXPECT_EQ(SSL_CTX_get_verify_callback(context.get()), given);
            }
        }
        const std::shared_ptr<SSL> client(SSL_new(context.get()), SSL_free);
        EXPECT_EQ(shakeHands(client.get()), error == 0);
        EXPECT_EQ(SSL_get_verify_result(client.get()), error == 0 ? X509_V_OK : X509_V_ERR_CERT_REVOKED);
        EXPECT_TRUE(note.ssl == client.get() && note.calls >= (error == 0 ? 3 : 1));
    }
}

TEST(Views, InAStore) {
    X509Store store;
    store.setTrustedCerts(pemFrom("root<root"));
    store.setCrl(pemFrom("int|rev=leaf"));
    store.setCrlCheckLevel(CRL_CHECK_LEAF);
    store.setVerifyCallback(callback);
    store.verifyX509Cert(pemFrom("leaf<int+int<root"));
    EXPECT_TRUE(withoutTls.calls > 0 && withoutTls.lists > 0 && withoutTls.ssl == nullptr);
}

TEST(Views, FollowTheConnectionOfTheirContext) {
    const Owned<X509_STORE_CTX> context(X509_STORE_CTX_new());
    X509_STORE_CTX_init(context.get(), nullptr, nullptr, nullptr);
    X509StoreCtx view(context.get());
    std::vector<std::shared_ptr<SSL>> all; // so that each has an address of its own
    const SecureSocketLayer* wrapper = nullptr;
    for (const bool connected : {false, true, true, false, true}) {
        const std::shared_ptr<SSL_CTX> tls(SSL_CTX_new(TLS_method()), SSL_CTX_free);
        SSL* const connection = all.emplace_back(connected ? SSL_new(tls.get()) : nullptr, SSL_free).get();
        X509_STORE_CTX_set_ex_data(context.get(), SSL_get_ex_data_X509_STORE_CTX_idx(), connection);
        const SecureSocketLayer* const found = view.getSSL();
        ASSERT_EQ(found != nullptr, connected);
        if (connected) {
            EXPECT_TRUE(wrapper == nullptr || wrapper == found); // one wrapper
            wrapper = found;
            EXPECT_TRUE(found->get() == connection && found->getSslCtx().get() == tls.get());
        }
    }
}

} // namespace
