// A TLS server: its certificate and key from files, from memory or from a store; clients that show who they are,
// checked against a revocation list. Usage: server CONNECTIONS TRUSTED ISSUER LISTS files CHAIN KEY PASS_PHRASE_FILE
//        server CONNECTIONS TRUSTED ISSUER LISTS memory CERTIFICATE KEY
//        server CONNECTIONS TRUSTED ISSUER LISTS store FOLDER STORE_PATH
// TRUSTED, ISSUER and LISTS (PEM) are for the clients: the root, who issued their certificates, and the lists of both.
// It takes a port of its own choice, says which, and ends after so many connections.
#include <arpa/inet.h>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <openssl/ssl.h>

#include "cmncrypto/cmncrypto.hpp"

using namespace CmnCrypto;
using namespace CmnCrypto::WinCertStore;

namespace {

constexpr const char* cipherList = "ECDHE+AESGCM:ECDHE+CHACHA20";
constexpr unsigned int oneDay = 24 * 60 * 60;

struct FreeSsl {
    void operator()(SSL* ssl) const { SSL_free(ssl); }
};
using SslPtr = std::unique_ptr<SSL, FreeSsl>;

std::mutex outputLock;

void say(const std::string& line) {
    const std::lock_guard<std::mutex> lock(outputLock);
    std::cout << line << std::endl;
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string content(std::istreambuf_iterator<char>(file), {});
    if (!file || content.empty()) {
        throw std::runtime_error(path + ": no content");
    }
    return content;
}

// The certificate with those above it, its key, and the file whose first line opens the key ("" for a plain key).
SslPtr fromFiles(const char* chain, const char* key, const char* passPhraseFile) {
    TLSOperations operations(CTX_INIT_MASTER);
    const CertInfoPath paths = {nullptr, chain, key, passPhraseFile};
    SSL* ssl = nullptr;
    operations.tlsInitMaster(&paths, cipherList, 0, &ssl);
    return SslPtr(ssl);
}

// What the host holds already stays the host's.
SslPtr fromMemory(const X509Certificate& certificate, const X509PrivateKey& key) {
    TLSOperations operations(CTX_INIT_CLIENT);
    SSL* ssl = nullptr;
    operations.tlsInitClient(certificate.getX509(), key.getEVPKey(), cipherList, &ssl);
    return SslPtr(ssl);
}

// A certificate that the store selects; its key never leaves the store.
SslPtr fromStore(const std::string& folder, const std::string& storePath) {
    setCertStorePlatform(std::make_shared<SoftwareCertStore>(folder)); // once in a process, before threads start
    const std::list<std::shared_ptr<CertificateFilter>> filters = {std::make_shared<TimeLagCertificateFilter>(60)};
    TLSOperations operations(CTX_INIT_MASTER);
    operations.setWinCertStoreOpenSSLHelper(std::make_shared<WinCertStoreOpenSSLHelper>(storePath, nullptr, filters));
    const CertInfoPath paths = {nullptr, storePath.c_str(), nullptr, nullptr};
    SSL* ssl = nullptr;
    operations.tlsInitMaster(&paths, cipherList, 0, &ssl);
    return SslPtr(ssl);
}

// What the check of a client needs. The context leads to it; all connections share it.
struct Rules {
    X509CertChain issuer; // of the clients' certificates
    Crl list;             // its list
    std::mutex lock;      // a list answers one thread at a time
};

int rulesIndex() {
    static const int index = SslCtx::getNewIndex();
    return index;
}

// Asked at every step of the verification of a client; OpenSSL's own answer comes first.
int checkClient(int ok, X509_STORE_CTX* context) {
    X509StoreCtx view(context);
    if (ok == 0 || view.getErrorDepth() > 0) {
        return ok;
    }
    int status = CCRYPT_CRL_VERIFY_ERROR; // what keeps the list from being used refuses the client
    try {
        auto* const rules = static_cast<Rules*>(view.getSSL()->getSslCtx().getExData(rulesIndex()));
        X509Certificate certificate(view.getCurrentCert(), false); // borrowed
        RevokeInfo info;
        const std::lock_guard<std::mutex> lock(rules->lock);
        status = rules->list.checkCertRevokeStatus(&rules->issuer, oneDay, &certificate, &info);
        delete[] info.serialNumber;
    } catch (const std::exception& unusable) { // nothing may leave a callback
        say(std::string("list      ") + unusable.what());
    }
    const int error = cmncrypto_getSSLVerifyErrorCode(status);
    if (error != X509_V_OK) {
        view.setErrorValue(error);
    }
    return error == X509_V_OK ? 1 : 0;
}

// After the recipe, which asks clients for nothing, and before the connections are made.
void askForClients(SSL_CTX* context, const std::string& trustedPath, Rules& rules) {
    if (SSLCTXHelper::set_ca_cert_in_ssl_context(trustedPath, nullptr, context) != 0) {
        throw std::runtime_error(trustedPath + ": no trusted certificate");
    }
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
    SslCtx view(context);
    view.setVerifyCallback(checkClient);
    view.setExData(rulesIndex(), &rules);
}

// Another way, behind the handshake: the whole chain, with a list of each authority.
bool isAccepted(const SSL* ssl, const std::string& trustedPem, const std::string& listsPem) {
    const X509Certificate client(SSL_get0_peer_certificate(ssl), false);
    const X509CertChain sent(SSL_get_peer_cert_chain(ssl)); // on a server's side without the client's own
    X509Store store;
    store.setTrustedCerts(trustedPem);
    store.setCrl(listsPem);
    store.setCrlCheckLevel(CRL_CHECK_CHAIN);
    store.verifyX509Cert(client.getPemString() + sent.getPemString());
    return store.getStatus().verified;
}

std::string answerTo(const SSL* ssl, const std::string& request) {
    const X509Certificate client(SSL_get0_peer_certificate(ssl), false);
    return std::string(SSL_get_version(ssl)) + ' ' + SSL_get_cipher(ssl) + ' ' +
           client.getSubjectAsString(NAME_FORMAT_RFC2253) + ' ' + request;
}

// One connection from begin to end. The socket stays the caller's.
void serve(SSL_CTX* context, int socket, const std::string& trustedPem, const std::string& listsPem) {
    SSL* ssl = SSL_new(context);
    SslPtr owner(ssl);
    TLSOperations::setIoTimeout(ssl, 10000); // for each call that follows
    if (const int code = TLSOperations::tlsAccept(static_cast<uint64_t>(socket), &ssl); code != 0) {
        const long verdict = SSL_get_verify_result(ssl); // X509_V_OK where it was not about the client's certificate
        const char* const why = verdict == X509_V_OK ? "handshake" : X509_verify_cert_error_string(verdict);
        say("refused   " + std::to_string(code) + ' ' + why);
        return;
    }
    say(std::string("accepted  ") + (isAccepted(ssl, trustedPem, listsPem) ? "chain good" : "chain refused"));
    char request[1024];
    int count = 0;
    TLSOperations::tlsRead(ssl, static_cast<uint64_t>(socket), sizeof request, request, &count);
    const std::string answer = answerTo(ssl, std::string(request, static_cast<size_t>(count)));
    TLSOperations::tlsWrite(static_cast<uint64_t>(socket), answer.data(), answer.size(), &ssl, &count);
    TLSOperations::tlsFinish(ssl, static_cast<uint64_t>(socket)); // frees the connection; where it throws, we do
    owner.release();
}

void serveAndClose(SSL_CTX* context, int socket, const std::string& trustedPem, const std::string& listsPem) {
    try {
        serve(context, socket, trustedPem, listsPem);
    } catch (const CmnException& failure) {
        say(std::string("failed    ") + failure.what() + " (" + std::to_string(failure.getErrorCode()) + ')');
    }
    close(socket);
}

int listenAnywhere() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    if (listener < 0 || bind(listener, generic, length) != 0 || listen(listener, SOMAXCONN) != 0 ||
        getsockname(listener, generic, &length) != 0) {
        throw std::runtime_error("no port to listen at");
    }
    say("port      " + std::to_string(ntohs(address.sin_port)));
    return listener;
}

SslPtr setUp(const std::vector<char*>& arguments) {
    const std::string kind = arguments[0];
    if (kind == "store") {
        return fromStore(arguments[1], arguments[2]);
    }
    if (kind == "files" && arguments.size() > 3) {
        return fromFiles(arguments[1], arguments[2], arguments[3]);
    }
    return fromMemory(X509Certificate(arguments[1], INIT_TYPE_PATH), X509PrivateKey(arguments[2], nullptr, nullptr));
}

void run(int connections, const std::string& trusted, const std::string& issuer, const std::string& lists,
         const std::vector<char*>& source) {
    const std::string trustedPem = contentOf(trusted);
    const std::string listsPem = contentOf(lists);
    Rules rules{X509CertChain(issuer, INIT_TYPE_PATH), Crl(), {}};
    rules.list.setPemCrl(listsPem);     // the first list of the text
    const SslPtr first = setUp(source); // keeps its context: one for all connections
    SSL_CTX* const context = SSL_get_SSL_CTX(first.get());
    askForClients(context, trusted, rules);
    const int listener = listenAnywhere();
    std::vector<std::thread> threads;
    for (int i = 0; i < connections; ++i) {
        const int socket = accept(listener, nullptr, nullptr);
        threads.emplace_back([=] { serveAndClose(context, socket, trustedPem, listsPem); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    close(listener);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 8) {
        std::cerr << "usage: server CONNECTIONS TRUSTED ISSUER LISTS files CHAIN KEY PASS_PHRASE_FILE\n"
                     "                                             memory CERTIFICATE KEY | store FOLDER STORE_PATH\n";
        return EXIT_FAILURE;
    }
    try {
        run(std::atoi(argv[1]), argv[2], argv[3], argv[4], {argv + 5, argv + argc});
        return EXIT_SUCCESS;
    } catch (const CmnException& e) {
        std::cerr << e.what() << " (" << e.getErrorCode() << ")\n";
    } catch (const std::exception& e) {
        std::cerr << e.what() << '\n';
    }
    return EXIT_FAILURE;
}
