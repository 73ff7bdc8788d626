#include "TlsConversation.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "OpenSslTls.h"
#include "Socket.h"
#include "cmncrypto/CmnException.h"
#include "cmncrypto/TLSOperations.h"

namespace CmnCrypto::Cli {

namespace {

constexpr int32_t timedOutCode = 9131;
/** A client that does not say goodbye in this time is not waited for. */
constexpr int finishMilliseconds = 2000;
constexpr size_t longestRequest = size_t{16} * 1024;

void noteReason(const SSL* ssl, int where, int result) noexcept {
    auto* const reason = static_cast<std::string*>(SSL_get_app_data(ssl));
    try {
        if ((where & SSL_CB_EXIT) != 0 && result <= 0 && reason != nullptr && reason->empty()) {
            *reason = firstSslReason();
        }
    } catch (const std::bad_alloc&) {
        return; // a reason less
    }
}

class Conversation {
public:
    Conversation(const TlsService& service, int socket)
        : m_service(service), m_socket(static_cast<uint64_t>(socket)), m_deadline(service.milliseconds),
          m_ssl(SSL_new(service.context)) {
        if (!m_ssl) {
            throw std::bad_alloc();
        }
        SSL_set_app_data(m_ssl.get(), &m_reason);
    }

    /** @return how it went, in one word or two */
    std::string run() {
        try {
            return accept() ? answer() : "no handshake";
        } catch (const CmnException& failure) {
            m_reason = failure.getErrorCode() == timedOutCode ? "timed out" : failure.what();
            return "broken off";
        }
    }

    const Details& details() const noexcept { return m_details; }
    const std::string& reason() const noexcept { return m_reason; }

private:
    /** Gives the next call what is left of the time. */
    void limit(int most = INT32_MAX) {
        const int left = std::min(m_deadline.remaining(), most);
        if (left == 0) {
            throw CmnException("timed out", timedOutCode);
        }
        TLSOperations::setIoTimeout(m_ssl.get(), left);
    }

    bool accept() {
        limit();
        SSL* ssl = m_ssl.get();
        const int result = TLSOperations::tlsAccept(m_socket, &ssl);
        if (result != 0) {
            m_reason = result == timedOutCode ? "timed out" : m_reason.empty() ? "the client has gone" : m_reason;
            return false;
        }
        addNegotiated(ssl, m_details);
        const char* const name = SSL_get_servername(ssl, TLSEXT_NAMETYPE_host_name);
        m_details.add("Server name", "serverName", name == nullptr ? Json() : Json(name));
        return true;
    }

    /** @return whether the client is to be answered */
    bool judgeClient() {
        if (m_service.clients == nullptr) {
            return true;
        }
        const ClientCheck::Answer client = m_service.clients->judge(m_ssl.get());
        const bool presented = !client.subject.empty();
        m_details.add("Client", "clientSubject", presented ? Json(client.subject) : Json(), Backslash::keep);
        m_details.add("Client is", "clientVerdict",
                      presented ? Json(client.verdict.word) : Json("without certificate"));
        m_reason = client.reason;
        return client.verdict == verified;
    }

    /** Reads a line, or the head of an HTTP request. @return what came; without a line feed when the client has closed
     */
    std::string readRequest() {
        std::string request;
        std::array<char, 4096> piece = {};
        while (request.size() < longestRequest) {
            limit();
            int count = 0;
            TLSOperations::tlsRead(m_ssl.get(), m_socket, static_cast<int>(piece.size()), piece.data(), &count);
            request.append(piece.data(), static_cast<size_t>(count));
            const size_t line = request.find('\n');
            if (count == 0 || (line != std::string::npos && (!isHttp(request) || endOfHead(request)))) {
                break;
            }
        }
        return request;
    }

    static bool isHttp(const std::string& request) {
        return request.substr(0, request.find('\n')).find(" HTTP/1.") != std::string::npos;
    }

    static bool endOfHead(const std::string& request) {
        return request.find("\n\r\n") != std::string::npos || request.find("\n\n") != std::string::npos;
    }

    std::string answer() {
        const bool welcome = judgeClient();
        const std::string request = readRequest();
        if (!request.empty()) {
            std::string text = (welcome ? m_details.text() : "refused: " + m_reason) + "\n";
            if (isHttp(request)) {
                const std::string head =
                    std::string("HTTP/1.0 ") + (welcome ? "200 OK" : "403 Forbidden") +
                    "\r\nContent-Type: text/plain; charset=utf-8\r\nContent-Length: " + std::to_string(text.size()) +
                    "\r\nConnection: close\r\n\r\n";
                text = request.compare(0, 5, "HEAD ") == 0 ? head : head + text;
            }
            limit();
            int count = 0;
            SSL* ssl = m_ssl.get();
            TLSOperations::tlsWrite(m_socket, text.data(), text.size(), &ssl, &count);
        }
        finish();
        return !welcome ? "refused" : request.empty() ? "no request" : "answered";
    }

    /** Clients that have their answer may go without goodbye. */
    void finish() {
        try {
            limit(finishMilliseconds);
            TLSOperations::tlsFinish(m_ssl.get(), m_socket);
            static_cast<void>(m_ssl.release()); // the library has freed it
        } catch (const CmnException&) {
            m_details.add("", "closedInDueForm", false);
        }
    }

    const TlsService& m_service;
    uint64_t m_socket;
    Deadline m_deadline;
    std::string m_reason;
    Details m_details;
    OwnedConnection m_ssl; // refers to the reason
};

std::string logLine(const std::string& peer, const std::string& outcome, const Conversation& conversation) {
    std::string line = peer + " " + outcome;
    for (const auto& [member, value] : conversation.details().members().items()) {
        if (value.is_string()) {
            const bool ofClient = member == "clientSubject" || member == "serverName";
            line += (ofClient ? " " + member + "=" : " ") + printable(value.get<std::string>(), Backslash::keep);
        }
    }
    return line + (conversation.reason().empty() ? "" : ": " + printable(conversation.reason()));
}

} // namespace

void prepareForConversations(SSL_CTX* context) {
    SSL_CTX_set_info_callback(context, noteReason);
}

std::string converse(const TlsService& service, int socket, const std::string& peer) {
    Conversation conversation(service, socket);
    const std::string outcome = conversation.run();
    if (!service.json) {
        return logLine(peer, outcome, conversation);
    }
    Json document = {{"client", peer}, {"outcome", outcome}};
    document.update(conversation.details().members());
    document["reason"] = conversation.reason().empty() ? Json() : Json(conversation.reason());
    return jsonText(document);
}

} // namespace CmnCrypto::Cli
