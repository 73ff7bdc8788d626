#include "TlsProbe.h"

#include <algorithm>
#include <cerrno>
#include <new>

#include <openssl/err.h>

#include "Failure.h"
#include "SystemText.h"

namespace CmnCrypto::Cli {

namespace {

constexpr int ticketMilliseconds = 500;
/** More than OpenSSL knows suites, so that no server keeps us busy for ever. */
constexpr size_t mostCiphers = 300;
constexpr char everything[] = "ALL:COMPLEMENTOFALL";

[[noreturn]] void failSetup() {
    const unsigned long error = ERR_peek_error();
    if (error == 0 || ERR_GET_REASON(error) == ERR_R_MALLOC_FAILURE) {
        throw std::bad_alloc();
    }
    const std::string reason = firstSslReason();
    ERR_clear_error();
    throw Failure(ExitCode::internal, "OpenSSL: TLS cannot be set up: " + reason);
}

/** @return whether an error is the server's word: an alert, or another version than was offered */
bool isAnswer(unsigned long error) {
    const int reason = ERR_GET_REASON(error);
    return ERR_GET_LIB(error) == ERR_LIB_SSL &&
           (reason >= SSL_AD_REASON_OFFSET || reason == SSL_R_UNSUPPORTED_PROTOCOL ||
            reason == SSL_R_WRONG_SSL_VERSION);
}

/** OpenSSL calls this when the server asks. @return 0, for no certificate */
int noteCertificateAsked(SSL* ssl, X509**, EVP_PKEY**) {
    *static_cast<bool*>(SSL_get_app_data(ssl)) = true;
    return 0;
}

OwnedContext contextFor(const Offer& offer) {
    OwnedContext context(SSL_CTX_new(TLS_client_method()));
    // What is asked is what the server accepts, not what this client would put up with.
    if (!context || SSL_CTX_set_cipher_list(context.get(), (offer.ciphers + ":@SECLEVEL=0").c_str()) != 1 ||
        SSL_CTX_set_min_proto_version(context.get(), offer.oldest) != 1 ||
        SSL_CTX_set_max_proto_version(context.get(), offer.newest) != 1) {
        failSetup();
    }
    SSL_CTX_set_client_cert_cb(context.get(), noteCertificateAsked);
    SSL_CTX_set_verify(context.get(), SSL_VERIFY_NONE, nullptr);
    SSL_CTX_set_options(context.get(), SSL_OP_LEGACY_SERVER_CONNECT);
    return context;
}

} // namespace

Handshake::~Handshake() {
    if (m_ssl && SSL_is_init_finished(m_ssl.get()) == 1) {
        SSL_shutdown(m_ssl.get());
        ERR_clear_error();
    }
}

void Handshake::run(const Deadline& deadline) {
    SSL_set_app_data(m_ssl.get(), &m_askedForCertificate); // only the handshake itself looks at it
    for (;;) {
        ERR_clear_error();
        clearSocketError();
        const int result = SSL_connect(m_ssl.get());
        const int error = lastSocketError();
        if (result == 1) {
            return;
        }
        const int what = SSL_get_error(m_ssl.get(), result);
        if (what != SSL_ERROR_WANT_READ && what != SSL_ERROR_WANT_WRITE) {
            // Whoever asks for a certificate refuses the client without one, not what was offered.
            m_refused = isAnswer(ERR_peek_error()) && !m_askedForCertificate;
            m_reason = firstSslReason();
            if (m_reason.empty()) {
                m_reason = error != 0 ? systemText(error) : "the server closed the connection";
            }
            break;
        }
        if (!waitFor(m_socket, what == SSL_ERROR_WANT_READ ? SocketEvent::readable : SocketEvent::writable, deadline)) {
            m_reason = "timed out";
            break;
        }
    }
    ERR_clear_error();
    m_ssl.reset();
}

OwnedSession Handshake::session(const Deadline& deadline) const {
    char byte = 0;
    while (SSL_version(m_ssl.get()) == TLS1_3_VERSION && SSL_peek(m_ssl.get(), &byte, 1) <= 0) {
        OwnedSession session(SSL_get1_session(m_ssl.get()));
        if (session && SSL_SESSION_is_resumable(session.get()) == 1) {
            return session;
        }
        if (SSL_get_error(m_ssl.get(), -1) != SSL_ERROR_WANT_READ ||
            !waitFor(m_socket, SocketEvent::readable, deadline)) {
            break;
        }
    }
    ERR_clear_error();
    OwnedSession session(SSL_get1_session(m_ssl.get()));
    return session && SSL_SESSION_is_resumable(session.get()) == 1 ? std::move(session) : nullptr;
}

Handshake TlsProbe::tryOut(const Offer& offer) const {
    const Deadline deadline(m_milliseconds);
    Handshake handshake;
    handshake.m_socket = connectTo(m_server, deadline);
    if (!handshake.hasConnected()) {
        handshake.m_reason = systemText(errno);
        return handshake;
    }
    const OwnedContext context = contextFor(offer);
    handshake.m_ssl.reset(SSL_new(context.get()));
    SSL* const ssl = handshake.m_ssl.get();
    if (ssl == nullptr || SSL_set_fd(ssl, static_cast<int>(handshake.m_socket.number())) != 1 ||
        (!m_serverName.empty() && SSL_set_tlsext_host_name(ssl, m_serverName.c_str()) != 1) ||
        (offer.session != nullptr && SSL_set_session(ssl, offer.session) != 1)) {
        failSetup();
    }
    handshake.run(deadline);
    return handshake;
}

AcceptedCiphers TlsProbe::acceptedCiphers() const {
    AcceptedCiphers accepted;
    std::vector<std::string>& names = accepted.names;
    Offer offer = {TLS1_2_VERSION, TLS1_2_VERSION, everything, nullptr};
    while (names.size() < mostCiphers) {
        const Handshake handshake = tryOut(offer);
        if (handshake.ssl() == nullptr) {
            accepted.incomplete = handshake.isRefused() ? "" : handshake.reason();
            return accepted;
        }
        names.emplace_back(SSL_get_cipher_name(handshake.ssl()));
        offer.ciphers += ":!" + names.back();
    }
    accepted.incomplete = "there may be more than " + std::to_string(mostCiphers);
    return accepted;
}

CipherOrder TlsProbe::order(const std::vector<std::string>& ciphers) const {
    const Handshake handshake = tryOut({TLS1_2_VERSION, TLS1_2_VERSION, ciphers.at(1) + ":" + ciphers.at(0), nullptr});
    if (handshake.ssl() == nullptr) {
        return CipherOrder::unknown;
    }
    return SSL_get_cipher_name(handshake.ssl()) == ciphers.at(0) ? CipherOrder::server : CipherOrder::client;
}

std::optional<std::string> TlsProbe::resumption(int version) const {
    Offer offer = {version, version, "DEFAULT", nullptr};
    OwnedSession session;
    {
        const Handshake first = tryOut(offer);
        if (first.ssl() == nullptr) {
            return std::nullopt;
        }
        session = first.session(Deadline(std::min(m_milliseconds, ticketMilliseconds)));
        if (!session && first.wasAskedForCertificate()) {
            return std::nullopt; // in TLS 1.3 a client is refused before it would get a ticket
        }
    }
    if (!session) {
        return "no";
    }
    offer.session = session.get();
    const Handshake second = tryOut(offer);
    if (second.ssl() == nullptr) {
        return std::nullopt;
    }
    return SSL_session_reused(second.ssl()) != 1        ? "no"
           : SSL_SESSION_has_ticket(session.get()) == 1 ? "by ticket"
                                                        : "by session ID";
}

} // namespace CmnCrypto::Cli
