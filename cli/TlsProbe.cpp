#include "TlsProbe.h"

#include <algorithm>
#include <cerrno>
#include <new>
#include <poll.h>
#include <system_error>

#include <openssl/err.h>

namespace CmnCrypto::Cli {

namespace {

constexpr int ticketMilliseconds = 500;
/** More than OpenSSL knows suites, so that no server keeps us busy for ever. */
constexpr size_t mostCiphers = 300;
constexpr char everything[] = "ALL:COMPLEMENTOFALL";

OwnedContext contextFor(const Offer& offer) {
    OwnedContext context(SSL_CTX_new(TLS_client_method()));
    // What is asked is what the server accepts, not what this client would put up with.
    if (!context || SSL_CTX_set_cipher_list(context.get(), (offer.ciphers + ":@SECLEVEL=0").c_str()) != 1 ||
        SSL_CTX_set_min_proto_version(context.get(), offer.oldest) != 1 ||
        SSL_CTX_set_max_proto_version(context.get(), offer.newest) != 1) {
        throw std::bad_alloc();
    }
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
    for (;;) {
        ERR_clear_error();
        errno = 0;
        const int result = SSL_connect(m_ssl.get());
        const int error = errno;
        if (result == 1) {
            return;
        }
        const int what = SSL_get_error(m_ssl.get(), result);
        if (what != SSL_ERROR_WANT_READ && what != SSL_ERROR_WANT_WRITE) {
            m_reason = firstSslReason();
            if (m_reason.empty()) {
                m_reason = error != 0 ? std::generic_category().message(error) : "the server closed the connection";
            }
            break;
        }
        if (!waitFor(m_socket.get(), what == SSL_ERROR_WANT_READ ? POLLIN : POLLOUT, deadline)) {
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
        if (SSL_get_error(m_ssl.get(), -1) != SSL_ERROR_WANT_READ || !waitFor(m_socket.get(), POLLIN, deadline)) {
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
        handshake.m_reason = std::generic_category().message(errno);
        return handshake;
    }
    const OwnedContext context = contextFor(offer);
    handshake.m_ssl.reset(SSL_new(context.get()));
    SSL* const ssl = handshake.m_ssl.get();
    if (ssl == nullptr || SSL_set_fd(ssl, handshake.m_socket.get()) != 1 ||
        (!m_serverName.empty() && SSL_set_tlsext_host_name(ssl, m_serverName.c_str()) != 1) ||
        (offer.session != nullptr && SSL_set_session(ssl, offer.session) != 1)) {
        throw std::bad_alloc();
    }
    handshake.run(deadline);
    return handshake;
}

std::vector<std::string> TlsProbe::acceptedCiphers() const {
    std::vector<std::string> accepted;
    Offer offer = {TLS1_2_VERSION, TLS1_2_VERSION, everything, nullptr};
    while (accepted.size() < mostCiphers) {
        const Handshake handshake = tryOut(offer);
        const std::string name = handshake.ssl() == nullptr ? "" : SSL_get_cipher_name(handshake.ssl());
        if (name.empty() || std::find(accepted.begin(), accepted.end(), name) != accepted.end()) {
            break;
        }
        accepted.push_back(name);
        offer.ciphers += ":!" + name;
    }
    return accepted;
}

bool TlsProbe::prefersOwnOrder(const std::vector<std::string>& ciphers) const {
    const Handshake handshake = tryOut({TLS1_2_VERSION, TLS1_2_VERSION, ciphers.at(1) + ":" + ciphers.at(0), nullptr});
    return handshake.ssl() != nullptr && SSL_get_cipher_name(handshake.ssl()) == ciphers.at(0);
}

std::string TlsProbe::resumption(int version) const {
    Offer offer = {version, version, "DEFAULT", nullptr};
    OwnedSession session;
    {
        const Handshake first = tryOut(offer);
        session =
            first.ssl() == nullptr ? nullptr : first.session(Deadline(std::min(m_milliseconds, ticketMilliseconds)));
    }
    if (!session) {
        return "no";
    }
    offer.session = session.get();
    const Handshake second = tryOut(offer);
    if (second.ssl() == nullptr || SSL_session_reused(second.ssl()) != 1) {
        return "no";
    }
    return SSL_SESSION_has_ticket(session.get()) == 1 ? "by ticket" : "by session ID";
}

} // namespace CmnCrypto::Cli
