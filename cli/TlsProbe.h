/** @file
 * Handshakes with a server, to find out what it accepts.
 */
#ifndef CMNCRYPTO_CLI_TLSPROBE_H
#define CMNCRYPTO_CLI_TLSPROBE_H

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "OpenSslTls.h"
#include "Socket.h"

namespace CmnCrypto::Cli {

/** What is offered to the server. */
struct Offer {
    int oldest = TLS1_VERSION;
    int newest = TLS1_3_VERSION;
    std::string ciphers = "DEFAULT"; ///< for TLS up to 1.2
    SSL_SESSION* session = nullptr;  ///< to be resumed
};

/** A handshake that was tried; a connection that stands says goodbye at its end. */
class Handshake {
public:
    Handshake() = default;
    Handshake(Handshake&&) = default;
    Handshake& operator=(Handshake&&) = delete;
    ~Handshake();

    /** @return the connection, null when there is none */
    SSL* ssl() const noexcept { return m_ssl.get(); }
    bool hasConnected() const noexcept { return m_socket.isOpen(); }
    const std::string& reason() const noexcept { return m_reason; } ///< why there is none
    /** @return whether there is none because the server said so, not because it fell silent or went away */
    bool isRefused() const noexcept { return m_refused; }
    /** @return whether the server asked for a certificate of the client, who has none */
    bool wasAskedForCertificate() const noexcept { return m_askedForCertificate; }

    /** Waits for the ticket that TLS 1.3 sends later. @return null when the server gives nothing to resume by */
    OwnedSession session(const Deadline& deadline) const;

private:
    friend class TlsProbe;
    void run(const Deadline& deadline);

    Socket m_socket;
    OwnedConnection m_ssl;
    std::string m_reason;
    bool m_refused = false;
    bool m_askedForCertificate = false;
};

/** Suites that a server accepts. */
struct AcceptedCiphers {
    std::vector<std::string> names; ///< in the order in which it chooses them
    std::string incomplete;         ///< why there may be more; empty when these are all
};

/** Whose order of suites counts. */
enum class CipherOrder { unknown, server, client };

/** Tries handshakes with one address. */
class TlsProbe {
public:
    /** @param serverName empty to send none @param milliseconds that each attempt may take */
    TlsProbe(const Endpoint& server, std::string serverName, int milliseconds)
        : m_server(server), m_serverName(std::move(serverName)), m_milliseconds(milliseconds) {}

    Handshake tryOut(const Offer& offer) const;
    /** @return the suites that the server accepts in TLS 1.2 */
    AcceptedCiphers acceptedCiphers() const;
    /** @param ciphers two at least that it accepts @return whose order of them counts */
    CipherOrder order(const std::vector<std::string>& ciphers) const;
    /** @return "no", "by ticket" or "by session ID"; none when that cannot be told */
    std::optional<std::string> resumption(int version) const;

private:
    Endpoint m_server;
    std::string m_serverName;
    int m_milliseconds;
};

} // namespace CmnCrypto::Cli

#endif
