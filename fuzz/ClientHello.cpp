// What a client sends first, to a TLS server with its key in memory, compared with OpenSSL's server over memory.

#include <sys/socket.h>

#include "Harness.h"

using namespace CmnCrypto;

/** @return the context of a server, set up once */
static SSL_CTX* context() {
    static SSL* const first = [] {
        char text[] = "server";
        const OpenSslPtr<EVP_PKEY> key(EVP_RSA_gen(2048));
        const OpenSslPtr<X509> certificate(X509_new());
        X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 86400);
        X509_set_pubkey(certificate.get(), key.get());
        X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_ASC, fuzz::bytesOf(text),
                                   -1, -1, 0);
        X509_sign(certificate.get(), key.get(), EVP_sha256());
        SSL* ssl = nullptr;
        TLSOperations(CTX_INIT_CLIENT)
            .tlsInitClient(certificate.get(), key.get(), "ECDHE+AESGCM:DHE+AESGCM:kRSA+AES", &ssl);
        return ssl;
    }();
    return SSL_get_SSL_CTX(first);
}

/** @return how many bytes OpenSSL's server answers to what @p client sends before it hangs up */
static size_t answerOfOpenSsl(const std::string& client) {
    const OpenSslPtr<SSL> ssl(SSL_new(context()));
    BIO* const in = BIO_new_mem_buf(client.data(), static_cast<int>(client.size()));
    BIO* const out = BIO_new(BIO_s_mem());
    BIO_set_mem_eof_return(in, 0);
    SSL_set_bio(ssl.get(), in, out);
    fuzz::require(SSL_accept(ssl.get()) <= 0, "no handshake without answers");
    fuzz::noteSslError();
    return BIO_ctrl_pending(out);
}

/** @return the bytes that arrive at a socket up to their end */
static size_t drain(int socket) {
    size_t total = 0;
    char buffer[4096];
    for (ssize_t count = 0; (count = read(socket, buffer, sizeof buffer)) > 0;) {
        total += static_cast<size_t>(count);
    }
    return total;
}

void fuzz::tryOut(const std::string& input) {
    int ends[2];
    require(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0 &&
                send(ends[1], input.data(), input.size(), MSG_DONTWAIT) == static_cast<ssize_t>(input.size()) &&
                shutdown(ends[1], SHUT_WR) == 0,
            "a client that has hung up");
    const auto server = static_cast<uint64_t>(ends[0]);
    SSL* ssl = SSL_new(context());
    require(TLSOperations::tlsAccept(server, &ssl) == 9120, "a handshake that fails is told from all else");
    char buffer[16];
    int count = 1;
    require(!succeeds([&] { TLSOperations::tlsRead(ssl, server, sizeof buffer, buffer, &count); }) && count == 0,
            "nothing is read after it");
    require(!succeeds([&] { TLSOperations::tlsFinish(ssl, server); }), "and there is nothing to finish");
    SSL_free(ssl);
    close(ends[0]);
    require(drain(ends[1]) == answerOfOpenSsl(input), "the answer is as long as OpenSSL's");
    close(ends[1]);
}
