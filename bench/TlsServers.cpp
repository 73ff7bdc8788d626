#include "TlsServers.h"

#include <openssl/pem.h>

#include "Pairs.h"
#include "StoreFolder.h"
#include "TlsPeer.h"

namespace {

using CmnCrypto::TLSOperations;
using namespace CmnCrypto::WinCertStore;

X509* memoryCertificate() {
    static const Owned<X509> certificate = [] {
        const std::string pem = certificatesPem(1);
        const Owned<BIO> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
        return Owned<X509>(PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
    }();
    return certificate.get();
}

Owned<SSL_CTX> contextOf(const Owned<SSL>& ssl) {
    SSL_CTX* const context = SSL_get_SSL_CTX(ssl.get());
    SSL_CTX_up_ref(context);
    return Owned<SSL_CTX>(context);
}

Owned<SSL_CTX> storeContext() {
    constexpr int few = 10;
    setCertStorePlatform(std::make_shared<SoftwareCertStore>(storeFolder(few)));
    const std::string path = R"(MY\\host7.example.org)";
    TLSOperations operations(CmnCrypto::CTX_INIT_MASTER);
    operations.setWinCertStoreOpenSSLHelper(
        std::make_shared<WinCertStoreOpenSSLHelper>(path, nullptr, std::list<std::shared_ptr<CertificateFilter>>{}));
    const CmnCrypto::CertInfoPath paths = {nullptr, path.c_str(), nullptr, nullptr};
    SSL* made = nullptr;
    operations.tlsInitMaster(&paths, measuredSuite, 0, &made);
    return contextOf(Owned<SSL>(made));
}

} // namespace

Owned<SSL_CTX> RawServer::context(KeyIn key) {
    Owned<SSL_CTX> context(SSL_CTX_new(TLS_server_method()));
    SSL_CTX* const made = context.get();
    SSL_CTX_set_options(made, SSL_OP_NO_TICKET | SSL_OP_CIPHER_SERVER_PREFERENCE);
    SSL_CTX_set_session_cache_mode(made, SSL_SESS_CACHE_OFF);
    require(SSL_CTX_set_min_proto_version(made, TLS1_2_VERSION) == 1 &&
                SSL_CTX_set_max_proto_version(made, TLS1_2_VERSION) == 1 && SSL_CTX_set_dh_auto(made, 1) == 1 &&
                SSL_CTX_set_cipher_list(made, measuredSuite) == 1 &&
                SSL_CTX_use_certificate(made, memoryCertificate()) == 1 &&
                SSL_CTX_use_PrivateKey(made, keyMaterial().key.get()) == 1 &&
                (key == KeyIn::memory || SSL_CTX_set1_sigalgs_list(made, "RSA+SHA512:RSA+SHA384:RSA+SHA256") == 1),
            "the raw context");
    return context;
}

void RawServer::accept(SSL* ssl, int socket) {
    require(SSL_set_fd(ssl, socket) == 1 && SSL_accept(ssl) == 1, "the raw handshake");
}

int RawServer::read(SSL* ssl, int, void* buffer, int size) {
    const int count = SSL_read(ssl, buffer, size);
    require(count > 0, "raw reading");
    return count;
}

void RawServer::write(SSL* ssl, int, const void* data, int size) {
    require(SSL_write(ssl, data, size) == size, "raw writing");
}

void RawServer::finish(SSL* ssl, int) {
    require(SSL_shutdown(ssl) >= 0 && SSL_shutdown(ssl) == 1, "the raw shutdown");
    SSL_free(ssl);
}

Owned<SSL_CTX> OurServer::context(KeyIn key) {
    return key == KeyIn::store ? storeContext() : contextOf(setUp());
}

Owned<SSL> OurServer::setUp() {
    SSL* ssl = nullptr;
    TLSOperations(CmnCrypto::CTX_INIT_CLIENT)
        .tlsInitClient(memoryCertificate(), keyMaterial().key.get(), measuredSuite, &ssl);
    return Owned<SSL>(ssl);
}

// What fails of reading, writing and finishing, throws, and ends the run.

void OurServer::accept(SSL* ssl, int socket) {
    require(TLSOperations::tlsAccept(static_cast<uint64_t>(socket), &ssl) == 0, "the handshake");
}

int OurServer::read(SSL* ssl, int socket, void* buffer, int size) {
    int count = 0;
    TLSOperations::tlsRead(ssl, static_cast<uint64_t>(socket), size, buffer, &count);
    require(count > 0, "reading");
    return count;
}

void OurServer::write(SSL* ssl, int socket, const void* data, int size) {
    int count = 0;
    TLSOperations::tlsWrite(static_cast<uint64_t>(socket), data, static_cast<uint64_t>(size), &ssl, &count);
    require(count == size, "writing");
}

void OurServer::finish(SSL* ssl, int socket) {
    TLSOperations::tlsFinish(ssl, static_cast<uint64_t>(socket));
}
