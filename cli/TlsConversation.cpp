#include "TlsConversation.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <new>

#include <openssl/err.h>

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

/** Keeps the first reason: what OpenSSL says later is mostly that something has failed before. */
void note(std::string* reason, const std::string& text) noexcept {
    try {
        if (reason != nullptr && reason->empty()) {
            *reason = text;
        }
    } catch (const std::bad_alloc&) {
        return; // a reason less
    }
}

/** Called before the library takes the reasons out of OpenSSL's queue. */
void noteReason(const SSL* ssl, int where, int result) noexcept try {
    auto* const reason = static_cast<std::string*>(SSL_get_app_data(ssl));
    const bool fatal = (where & SSL_CB_ALERT) != 0 && (result >> 8) == SSL3_AL_FATAL;
    if (fatal && (where & SSL_CB_READ) != 0) {
        const unsigned long error = ERR_PACK(ERR_LIB_SSL, 0, SSL_AD_REASON_OFFSET + (result & 0xff));
        const char* const text = ERR_reason_error_string(error); // which comes into the queue only after this call
        note(reason, text == nullptr ? SSL_alert_desc_string_long(result) : text);
    } else if (fatal || ((where & SSL_CB_EXIT) != 0 && result <= 0)) {
        note(reason, firstSslReason());
    }
} catch (const std::bad_alloc&) {
    return;
}

/** As noteReason(), for what the system says about the socket. */
long noteSystemReason(BIO* transport, int operation, const char*, size_t, int, long, int result, size_t*) noexcept try {
    if ((operation & BIO_CB_RETURN) != 0 && result <= 0) {
        note(reinterpret_cast<std::string*>(BIO_get_callback_arg(transport)), firstSslReason());
    }
    return result;
} catch (const std::bad_alloc&) {
    return result;
}

class Conversation {
public:
    Conversation(const TlsService& service, uint64_t socket)
        : m_service(service), m_socket(socket), m_deadline(service.milliseconds), m_ssl(SSL_new(service.context)) {
        if (!m_ssl) {
            throw std::bad_alloc();
        }
        SSL_set_app_data(m_ssl.get(), &m_noted);
    }

    /** @return how it went, in one word or two */
    std::string run() {
        try {
            return accept() ? answer() : "no handshake";
        } catch (const CmnException& failure) {
            if (m_isRefused) {
                return "refused"; // with the reason for that
            }
            m_code = failure.getErrorCode();
            m_reason = m_code == timedOutCode ? "timed out" : m_noted.empty() ? failure.what() : m_noted;
            return "broken off";
        }
    }

    const Details& details() const noexcept { return m_details; }
    const std::string& reason() const noexcept { return m_reason; }
    /** @return the library's of what has failed, 0 for nothing */
    int code() const noexcept { return m_code; }

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
            m_code = result;
            m_reason = result == timedOutCode ? "timed out" : m_noted.empty() ? "the client has gone" : m_noted;
            return false;
        }
        m_noted.clear();
        BIO_set_callback_ex(SSL_get_rbio(ssl), noteSystemReason); // the same for both directions
        BIO_set_callback_arg(SSL_get_rbio(ssl), reinterpret_cast<char*>(&m_noted));
        addNegotiated(ssl, m_details);
        const char* const name = SSL_get_servername(ssl, TLSEXT_NAMETYPE_host_name);
        m_details.add("Server name", "serverName", name == nullptr ? Json() : Json(name));
        return true;
    }

    void judgeClient() {
        if (m_service.clients == nullptr) {
            return;
        }
        const ClientCheck::Answer client = m_service.clients->judge(m_ssl.get());
        const bool presented = !client.subject.empty();
        m_details.add("Client", "clientSubject", presented ? Json(client.subject) : Json(), Backslash::keep);
        m_details.add("Client is", "clientVerdict",
                      presented ? Json(client.verdict.word) : Json("without certificate"));
        m_reason = client.reason;
        m_isRefused = client.verdict != verified;
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
        judgeClient();
        const std::string request = readRequest();
        if (!request.empty()) {
            std::string text = (!m_isRefused ? m_details.text() : "refused: " + m_reason) + "\n";
            if (isHttp(request)) {
                const std::string head =
                    std::string("HTTP/1.0 ") + (!m_isRefused ? "200 OK" : "403 Forbidden") +
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
        return m_isRefused ? "refused" : request.empty() ? "no request" : "answered";
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
    bool m_isRefused = false;
    int m_code = 0;
    std::string m_noted; ///< by OpenSSL, for when the library reports a failure
    std::string m_reason;
    Details m_details;
    OwnedConnection m_ssl; // refers to what is noted
};

/** @return text of a client's choice, told from ours by quotes */
std::string quoted(const std::string& text) {
    std::string inside;
    for (const char character : printable(text)) {
        inside += (character == '"' ? "\\" : "") + std::string(1, character);
    }
    return '"' + inside + '"';
}

std::string logLine(const std::string& peer, const std::string& outcome, const Conversation& conversation) {
    std::string line = peer + " " + outcome;
    for (const auto& [member, value] : conversation.details().members().items()) {
        if (value.is_string()) {
            const auto text = value.get<std::string>();
            const bool ofClient = member == "clientSubject" || member == "serverName";
            line += " " + (ofClient ? member + "=" + quoted(text) : printable(text));
        }
    }
    return line + (conversation.reason().empty() ? "" : ": " + printable(conversation.reason()));
}

} // namespace

void prepareForConversations(SSL_CTX* context) {
    SSL_CTX_set_info_callback(context, noteReason);
}

std::string converse(const TlsService& service, uint64_t socket, const std::string& peer) {
    Conversation conversation(service, socket);
    const std::string outcome = conversation.run();
    if (!service.json) {
        return logLine(peer, outcome, conversation);
    }
    Json document = {{"client", peer}, {"outcome", outcome}};
    document.update(conversation.details().members());
    document["reason"] = conversation.reason().empty() ? Json() : Json(conversation.reason());
    document["code"] = conversation.code() == 0 ? Json() : Json(conversation.code());
    return jsonText(document);
}

} // namespace CmnCrypto::Cli
