#include <cerrno>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <openssl/err.h>

#include "CertificateInput.h"
#include "ClientCheck.h"
#include "Commands.h"
#include "FileOption.h"
#include "Files.h"
#include "LineOutput.h"
#include "OpenSslTls.h"
#include "PassPhrase.h"
#include "PemInput.h"
#include "PrivateKeyInput.h"
#include "Report.h"
#include "Socket.h"
#include "StoreFolder.h"
#include "SystemStores.h"
#include "TlsConversation.h"
#include "TlsServer.h"
#include "cmncrypto/TLSOperations.h"
#include "cmncrypto/WinCertStoreOpenSSLHelper.h"

namespace CmnCrypto::Cli {

namespace {

constexpr int malformedStorePath = 8764;
constexpr int refusedByOpenSsl = 9110;
/** With what TlsServer gives to connections, a server ends within two seconds. */
constexpr int flushMilliseconds = 500;

struct ServeOptions {
    std::string port;
    std::string host;
    std::string certificate;
    std::string key;
    std::string passFile;
    std::string store;
    std::string timeLag;
    std::string ciphers = "ECDHE+AESGCM:ECDHE+CHACHA20:DHE+AESGCM:!aNULL:!PSK";
    std::string ca;
    std::vector<std::string> lists;
    std::string timeout = "30";
    bool json = false;
};

/** @return whether --cert names a certificate in a store. What is wrong with it as either is said at once. */
bool isStorePath(const ServeOptions& options) {
    const std::string& name = options.certificate;
    if (name == "-" || options.key == "-") {
        throw Failure(ExitCode::usage, "--cert, --key: are files; standard input is not read");
    }
    if (isThere(name)) {
        return false;
    }
    if (name.find('\\') == std::string::npos) {
        throw Failure::ofSystem(ExitCode::inputUnreadable,
                                name + (options.store.empty() ? "" : " (no store path either: STORE\\ISSUER\\SUBJECT)"),
                                ENOENT);
    }
    if (options.store.empty() && !hasSystemStores()) {
        throw Failure(ExitCode::usage,
                      "--cert: there is no file " + name + "; as a path into certificate stores it needs --store DIR");
    }
    if (const std::string mistake = storePathMistake(name); !mistake.empty()) {
        throw Failure(ExitCode::usage, "--cert: there is no file " + name + ", and it is no store path: " + mistake);
    }
    return true;
}

void checkCombination(const ServeOptions& options, bool storePath) {
    const auto refuse = [](const std::string& text) { throw Failure(ExitCode::usage, text); };
    if (storePath && (!options.key.empty() || !options.passFile.empty())) {
        refuse("--key, --pass-file: the key of a certificate in a store is in the store; leave them out");
    }
    if (!storePath && (!options.store.empty() || !options.timeLag.empty())) {
        refuse("--store, --time-lag: " + options.certificate +
               " is a file; give --cert a store path, STORE\\ISSUER\\SUBJECT, or leave them out");
    }
    if (!options.lists.empty() && options.ca.empty()) {
        refuse("--crl: clients are checked only with --ca FILE, the certificates that are trusted");
    }
}

/** Explains why there is no context where the library's code is not enough. @throws Failure */
void explainCiphers(const ServeOptions& options, const CmnException& failure) {
    const OwnedContext context(SSL_CTX_new(TLS_server_method()));
    if (failure.getErrorCode() == refusedByOpenSsl && context &&
        SSL_CTX_set_cipher_list(context.get(), options.ciphers.c_str()) != 1) {
        throw Failure(ExitCode::usage,
                      "--ciphers: OpenSSL knows no TLS 1.2 suite of \"" + options.ciphers +
                          "\"; openssl ciphers -v -tls1_2 lists those that there are",
                      refusedByOpenSsl);
    }
    ERR_clear_error();
}

constexpr char refusedText[] = ": OpenSSL refuses the certificate, most likely for a short key or an old signature";

/** @return whether it is the certificate that OpenSSL refuses, at the security level that the suites ask for */
bool isRefused(const ServeOptions& options, const WinCertStore::WinCertStoreCertificate& certificate) {
    const OwnedContext context(SSL_CTX_new(TLS_server_method()));
    const OwnedCertificate x509(certificate.GetX509());
    const bool refused = context && x509 && SSL_CTX_set_cipher_list(context.get(), options.ciphers.c_str()) == 1 &&
                         SSL_CTX_use_certificate(context.get(), x509.get()) != 1;
    ERR_clear_error();
    return refused;
}

[[noreturn]] void explainStore(const ServeOptions& options, const CmnException& failure) {
    explainCiphers(options, failure);
    const WinCertStore::CertificateSelector selector(options.certificate, timeLagFilters(options.timeLag));
    WinCertStore::WinCertStoreCertificate certificate;
    if (const int code = selector.GetCertificate(certificate, false); code != 0) {
        std::list<WinCertStore::CandidateVerdict> candidates;
        selector.Explain(candidates);
        throw Failure(code == malformedStorePath ? ExitCode::usage : ExitCode::inputUnreadable,
                      "--cert: " + options.certificate + " selects no certificate: " + selectionText(code, candidates) +
                          "; cmncrypto store explain tells more",
                      code);
    }
    const int code = failure.getErrorCode();
    if (code == refusedByOpenSsl && !isRefused(options, certificate)) {
        throw Failure(ExitCode::usage,
                      "--ciphers: a key in a store serves only suites with RSA signatures and (EC)DHE, and \"" +
                          options.ciphers + "\" has none",
                      code);
    }
    throw Failure(ExitCode::keyUnusable,
                  "--cert: " + options.certificate +
                      (code == refusedByOpenSsl
                           ? refusedText + std::string(" (code 9110); --log-level failure shows more")
                           : ": " + selectionText(code)),
                  code);
}

[[noreturn]] void explainFiles(const ServeOptions& options, const CmnException& failure) {
    explainCiphers(options, failure);
    const CertificateInput input(options.certificate);
    std::unique_ptr<X509PrivateKey> key;
    try {
        key = readPrivateKey({options.key.empty() ? options.certificate : options.key, options.passFile, true});
    } catch (const Failure& reason) {
        if (options.key.empty() && reason.exit() == ExitCode::inputUnreadable) {
            throw Failure(ExitCode::keyUnusable, options.certificate + ": holds no private key; give --key FILE");
        }
        throw;
    }
    if (X509_check_private_key(input.leaf().getX509(), key->getEVPKey()) != 1) {
        ERR_clear_error();
        throw Failure(ExitCode::keyUnusable,
                      "--key: is not the key of the first certificate in " + options.certificate +
                          "; cmncrypto key check --cert compares them",
                      failure.getErrorCode());
    }
    throw Failure(ExitCode::keyUnusable,
                  options.certificate +
                      (failure.getErrorCode() == refusedByOpenSsl
                           ? refusedText
                           : ": certificate and key must be in PEM; cmncrypto cert save converts") +
                      " (code " + std::to_string(failure.getErrorCode()) + "); --log-level failure shows more",
                  failure.getErrorCode());
}

/** @return a connection that is never used: its context is for all the others */
OwnedConnection setUp(const ServeOptions& options, bool storePath) {
    TLSOperations operations(CTX_INIT_MASTER);
    if (storePath) {
        useStores(options.store);
        operations.setWinCertStoreOpenSSLHelper(std::make_shared<WinCertStore::WinCertStoreOpenSSLHelper>(
            options.certificate, nullptr, timeLagFilters(options.timeLag)));
    }
    const std::string& key = options.key.empty() ? options.certificate : options.key;
    const CertInfoPath paths = {"", options.certificate.c_str(), key.c_str(), options.passFile.c_str()};
    SSL* ssl = nullptr;
    try {
        operations.tlsInitMaster(&paths, options.ciphers.c_str(), 0, &ssl);
    } catch (const CmnException& failure) {
        storePath ? explainStore(options, failure) : explainFiles(options, failure);
    }
    OwnedConnection connection(ssl);
    if (!storePath) {
        warnIfReadableByOthers(key, false);
    }
    return connection;
}

/** @return the NID of what a suite authenticates with, where it is this certificate */
int authenticationOf(const X509* certificate) {
    const EVP_PKEY* const key = X509_get0_pubkey(certificate);
    const int type = key == nullptr ? EVP_PKEY_NONE : EVP_PKEY_get_base_id(key);
    return type == EVP_PKEY_RSA || type == EVP_PKEY_RSA_PSS ? NID_auth_rsa
           : type == EVP_PKEY_DSA                           ? NID_auth_dss
                                                            : NID_auth_ecdsa;
}

void warnIfNoSuiteServes(SSL_CTX* context) {
    const int own = authenticationOf(SSL_CTX_get0_certificate(context));
    const STACK_OF(SSL_CIPHER)* const suites = SSL_CTX_get_ciphers(context);
    for (int i = 0; i < sk_SSL_CIPHER_num(suites); ++i) {
        const int needed = SSL_CIPHER_get_auth_nid(sk_SSL_CIPHER_value(suites, i));
        if (needed == own || needed == NID_auth_null) {
            return;
        }
    }
    printError("--ciphers: no suite of the list goes with the key of the certificate; no handshake will succeed");
}

[[noreturn]] void failToListen(const Endpoint& endpoint, int error) {
    const std::string hint = error == EADDRINUSE      ? "; choose another --port, or 0 for any"
                             : error == EACCES        ? "; ports below 1024 are for root, choose a higher --port"
                             : error == EADDRNOTAVAIL ? "; --host has to be an address of this machine"
                                                      : "";
    throw Failure(ExitCode::outputUnwritable,
                  Failure::ofSystem(ExitCode::outputUnwritable, endpoint.text(), error).what() + hint);
}

/** Listens on all addresses; without --host on this machine's own, of which the second one may be missing. */
std::vector<Socket> listen(const ServeOptions& options, std::vector<std::string>& addresses) {
    const bool loopback = options.host.empty();
    const int wanted = static_cast<int>(parseCount("--port", options.port, 0, 65535));
    std::vector<Endpoint> endpoints = resolve(loopback ? "127.0.0.1" : options.host, wanted, true);
    if (loopback) {
        endpoints.push_back(resolve("::1", wanted, true).front());
    }
    std::vector<Socket> listeners;
    int port = wanted;
    for (Endpoint& endpoint : endpoints) {
        endpoint.setPort(port);
        Socket listener = listenAt(endpoint);
        if (listener.isOpen()) {
            listeners.push_back(std::move(listener));
            addresses.push_back(endpoint.text());
            port = endpoint.port();
        } else if (listeners.empty() || (errno == EADDRINUSE && wanted != 0)) {
            failToListen(endpoint, errno);
        }
    }
    return listeners;
}

void announce(const ServeOptions& options, const std::vector<std::string>& addresses, LineOutput& output) {
    if (options.json) {
        output.add(jsonText({{"listening", addresses}}));
        return;
    }
    for (const std::string& address : addresses) {
        output.add("listening on " + address);
    }
}

/** The last line. @return failure where nobody reads it */
ExitCode takeLeave(const ServeOptions& options, size_t count, LineOutput& output) {
    const size_t lost = output.lost();
    const std::string loss = lost == 0 ? "" : ", " + std::to_string(lost) + (lost == 1 ? " line lost" : " lines lost");
    output.add(options.json
                   ? jsonText({{"stopped", true}, {"connections", count}, {"linesLost", lost}})
                   : "stopped after " + std::to_string(count) + (count == 1 ? " connection" : " connections") + loss,
               true);
    if (output.flush(Deadline(flushMilliseconds))) {
        return ExitCode::success;
    }
    // No exception: its report would wait for the same reader.
    if (canWriteAtOnce(standardError)) {
        printError("standard output: nobody reads it; the last lines are lost");
    }
    return ExitCode::outputUnwritable;
}

ExitCode runServe(const ServeOptions& options) {
    const bool storePath = isStorePath(options);
    checkCombination(options, storePath);
    const int seconds = static_cast<int>(parseCount("--timeout", options.timeout, 1, 86400));
    const OwnedConnection prototype = setUp(options, storePath);
    SSL_CTX* const context = SSL_get_SSL_CTX(prototype.get());
    warnIfNoSuiteServes(context);
    prepareForConversations(context);
    std::optional<ClientCheck> clients;
    if (!options.ca.empty()) {
        clients.emplace(options.ca, options.lists);
        clients->askClients(context);
    }
    std::vector<std::string> addresses;
    const TlsService service = {context, clients ? &*clients : nullptr, seconds * 1000, options.json};
    LineOutput output;
    TlsServer server(listen(options, addresses), output,
                     [&](uint64_t socket, const std::string& peer) { return converse(service, socket, peer); });
    announce(options, addresses, output);
    return takeLeave(options, server.run(), output);
}

void addClientOptions(CLI::App& parser, ServeOptions& options) {
    parser.add_option("--ca", options.ca, "Ask clients for a certificate, and trust these, roots among them")
        ->check(namedFile());
    parser.add_option("-l,--crl", options.lists, "Revocation lists for certificates of clients; may be repeated")
        ->check(namedFile())
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
}

} // namespace

Command addTlsServeCommand(CLI::App& group) {
    auto options = std::make_shared<ServeOptions>();
    CLI::App* parser = group.add_subcommand("serve", "A TLS 1.2 server that tells each client what was negotiated");
    parser->add_option("-P,--port", options->port, "Port to listen on; 0 chooses one")->required();
    parser->add_option("--host", options->host, "Address to listen on; without this option 127.0.0.1 and ::1");
    parser
        ->add_option("-c,--cert", options->certificate,
                     "Certificate chain in PEM, or a path into stores: STORE\\ISSUER\\SUBJECT")
        ->required()
        ->check(namedFile());
    parser->add_option("-k,--key", options->key, "Private key in PEM; without this option in the file of --cert")
        ->check(namedFile());
    parser->add_option("-p,--pass-file", options->passFile, "File whose first line is the pass phrase of the key")
        ->check(namedFile());
    addStoreOptionIfWanted(*parser, options->store);
    parser->add_option("--time-lag", options->timeLag,
                       "Of several in the stores, prefer the newest that has been valid for so many minutes");
    parser->add_option("--ciphers", options->ciphers, "Cipher suites, as openssl ciphers takes them")
        ->capture_default_str();
    addClientOptions(*parser, *options);
    parser->add_option("-T,--timeout", options->timeout, "Seconds that a connection may take")->capture_default_str();
    parser->add_flag("--json", options->json, "Print one JSON document per line");
    return {parser, [options] { return runServe(*options); }};
}

} // namespace CmnCrypto::Cli
