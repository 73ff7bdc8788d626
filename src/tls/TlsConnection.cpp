#include <algorithm>
#include <string>

#include "cmncrypto/TLSOperations.h"
#include "frame/Failure.h"
#include "tls/SocketTransport.h"
#include "tls/TlsCall.h"

namespace CmnCrypto {

namespace {

using tls::CallResult;
using tls::Outcome;
using tls::TlsCall;

[[noreturn]] void refuseArguments(const char* function) {
    fail(function, "Invalid argument", codeInvalidArgument);
}

void logTimeout(const char* function, const char* step, const TlsCall& call) {
    ossl::clearErrors();
    clogmsg(logFailure, function, "Timed out in TLS %s after %d ms", step, call.limit());
}

[[noreturn]] void failTimedOut(const char* function, const char* step, const TlsCall& call) {
    logTimeout(function, step, call);
    throw CmnException(std::string("Timed out in TLS ") + step, codeTlsTimedOut);
}

/** Drops what arrives after our close_notify, up to the peer's: left unread, it would make the shutdown fail. */
CallResult dropIncoming(SSL* ssl, const TlsCall& call) {
    char scratch[4096];
    CallResult dropped{};
    do {
        dropped = call.run([&] { return SSL_read(ssl, scratch, sizeof scratch); });
    } while (dropped.outcome == Outcome::done);
    OPENSSL_cleanse(scratch, sizeof scratch);
    return dropped;
}

/**
 * Exchanges close_notify with the peer in at most three attempts.
 * @param reason receives what OpenSSL said first: once a connection has failed, later attempts only say so
 * @return whether both have been exchanged
 */
bool shutDown(SSL* ssl, uint64_t socket, std::string& reason) {
    constexpr int attempts = 3;
    const TlsCall call(ssl, socket);
    for (int attempt = 0; attempt < attempts; ++attempt) {
        CallResult shutdown = call.run([=] { return SSL_shutdown(ssl); });
        if (shutdown.outcome == Outcome::done) {
            return true;
        }
        if (shutdown.result == 0 && (SSL_get_shutdown(ssl) & SSL_SENT_SHUTDOWN) != 0) { // the peer's is not in yet
            shutdown = dropIncoming(ssl, call);
        }
        if (shutdown.outcome == Outcome::timedOut) {
            failTimedOut("tlsFinish", "finish", call);
        }
        if (reason.empty() && ERR_peek_error() != 0) {
            reason = drainSslErrors();
        }
    }
    if (reason.empty()) {
        reason = drainSslErrors(); // which says that there are none
    }
    ossl::clearErrors();
    return false;
}

} // namespace

int TLSOperations::setIoTimeout(SSL* ssl, int milliseconds) {
    if (ssl == nullptr) {
        clogmsg(logFailure, "setIoTimeout", "Invalid argument");
        return codeInvalidArgument;
    }
    if (!tls::setIoTimeout(ssl, milliseconds)) {
        clogmsg(logFailure, "setIoTimeout", "Failed to keep the timeout with error %s", drainSslErrors().c_str());
        return codeNoMemory;
    }
    return 0;
}

int TLSOperations::tlsAccept(uint64_t socket, SSL** ssl) {
    constexpr const char* function = "tlsAccept";
    if (ssl == nullptr || *ssl == nullptr) {
        refuseArguments(function);
    }
    const ossl::ErrorScope errors;
    BIO* const transport = tls::makeSocketTransport(tls::socketNumber(socket)).release();
    if (transport == nullptr) {
        failWithSslErrors(function, "Error: BIO_new_socket() failed with error %s", "Failed to allocate new socket",
                          codeNoMemory);
    }
    SSL_set_bio(*ssl, transport, transport);
    SSL_clear_options(*ssl, SSL_OP_ENABLE_KTLS); // the kernel would write past our transport
    const TlsCall call(*ssl, socket);
    const CallResult accepted = call.run([&] { return SSL_accept(*ssl); });
    switch (accepted.outcome) {
    case Outcome::done:
        return 0;
    case Outcome::timedOut:
        logTimeout(function, "accept", call);
        return codeTlsTimedOut;
    default:
        clogmsg(logWarning, function, "TLS handshake failed with error %s error code %d", drainSslErrors().c_str(),
                accepted.sslError);
        return codeHandshakeFailed;
    }
}

int TLSOperations::tlsRead(SSL* ssl, uint64_t socket, int size, void* buffer, int* count) {
    constexpr const char* function = "tlsRead";
    if (ssl == nullptr || buffer == nullptr || count == nullptr) {
        refuseArguments(function);
    }
    *count = 0;
    const TlsCall call(ssl, socket);
    const CallResult read = call.run([=] { return SSL_read(ssl, buffer, size); });
    switch (read.outcome) {
    case Outcome::done:
        *count = read.result;
        return 0;
    case Outcome::closed:
        clogmsg(logInfo, function, "Peer has shut down the underlying transport, exiting gracefully");
        return 0;
    case Outcome::timedOut:
        failTimedOut(function, "read", call);
    default:
        clogmsg(logFailure, function, "Failed in TLS read with error %s error code %d read_ret %d",
                drainSslErrors().c_str(), read.sslError, read.result);
        throw CmnException("Failed in TLS read", codeReadFailed);
    }
}

int TLSOperations::tlsWrite(uint64_t socket, const void* data, uint64_t length, SSL** ssl, int* count) {
    constexpr const char* function = "tlsWrite";
    if (data == nullptr || ssl == nullptr || *ssl == nullptr || count == nullptr) {
        refuseArguments(function);
    }
    *count = 0;
    const int size = static_cast<int>(std::min<uint64_t>(length, INT_MAX));
    const TlsCall call(*ssl, socket);
    const CallResult written = call.run([=] { return SSL_write(*ssl, data, size); });
    switch (written.outcome) {
    case Outcome::done:
        *count = written.result;
        return 0;
    case Outcome::timedOut:
        failTimedOut(function, "write", call);
    default:
        failWithSslErrors(function, "Failed in TLS write with error %s", "Failed in TLS write", codeWriteFailed);
    }
}

int TLSOperations::tlsFinish(SSL* ssl, uint64_t socket) {
    if (ssl == nullptr) {
        refuseArguments("tlsFinish");
    }
    std::string reason;
    if (!shutDown(ssl, socket, reason)) {
        clogmsg(logFailure, "tlsFinish", "Failed in TLS finish with error %s", reason.c_str());
        throw CmnException("Failed in TLS Finish", codeShutdownFailed);
    }
    SSL_free(ssl);
    return 0;
}

} // namespace CmnCrypto
