#ifndef CMNCRYPTO_TLS_TLSCALL_H
#define CMNCRYPTO_TLS_TLSCALL_H

#include <climits>
#include <cstdint>

#include "ossl/ErrorQueue.h"
#include "tls/Deadline.h"
#include "tls/SocketIo.h"
#include "tls/SocketTransport.h"

namespace CmnCrypto::tls {

/** What came of a call of OpenSSL. */
enum class Outcome {
    done,       ///< it has a positive result
    wantsRead,  ///< it goes on when the socket can be read
    wantsWrite, ///< or written
    closed,     ///< the peer has sent its close_notify
    failed,     ///< anything else, and a shutdown that waits for the peer's close_notify (result 0)
    timedOut
};

/** A call of OpenSSL, judged. */
struct CallResult {
    int result;   ///< as OpenSSL answered
    int sslError; ///< SSL_ERROR_ value of it
    Outcome outcome;
};

/** Judges a result, at once: any other use of OpenSSL would change the answer. */
CallResult classify(const SSL* ssl, int result) noexcept;

/** @return the socket as the system numbers it; -1, which is none, for what would have to be cut */
inline int socketNumber(uint64_t socket) noexcept {
    return socket <= INT_MAX ? static_cast<int>(socket) : -1;
}

/** @return the limit of SSL calls in milliseconds; 0 for none */
int ioTimeout(const SSL* ssl) noexcept;
/** Sets it; 0 or less for none. @return whether there was memory for it */
bool setIoTimeout(SSL* ssl, int milliseconds) noexcept;

/** One call of a host on a connection: its socket and the time that it has. */
class TlsCall {
public:
    TlsCall(SSL* ssl, uint64_t socket)
        : m_ssl(ssl), m_socket(socketNumber(socket)), m_deadline(ioTimeout(ssl)), m_limit(ssl, m_deadline) {}

    int limit() const noexcept { return m_deadline.limit(); }

    /**
     * Runs @p operation, waits for the socket as long as it asks for that, and runs it again.
     * @param operation a call of OpenSSL with its usual results; each starts with an empty error queue
     * @return the last result; it still wants something where the socket could not be waited for
     */
    template <class Operation> CallResult run(Operation&& operation) const {
        for (;;) {
            ossl::clearErrors();
            CallResult call = classify(m_ssl, operation());
            if (call.outcome != Outcome::wantsRead && call.outcome != Outcome::wantsWrite) {
                return call;
            }
            const Direction direction = call.outcome == Outcome::wantsWrite ? Direction::writing : Direction::reading;
            if (const Wait wait = waitFor(m_socket, direction, m_deadline); wait != Wait::ready) {
                call.outcome = wait == Wait::timedOut ? Outcome::timedOut : call.outcome;
                return call;
            }
        }
    }

private:
    SSL* m_ssl;
    int m_socket;
    Deadline m_deadline;
    TransportLimit m_limit;
};

} // namespace CmnCrypto::tls

#endif
