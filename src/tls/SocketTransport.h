#ifndef CMNCRYPTO_TLS_SOCKETTRANSPORT_H
#define CMNCRYPTO_TLS_SOCKETTRANSPORT_H

#include "ossl/OpenSsl.h"
#include "tls/Deadline.h"

namespace CmnCrypto::tls {

/**
 * What a connection reads from and writes to: a socket BIO with a filter of ours before it. The filter does the reading
 * and writing itself, as the socket BIO would raise SIGPIPE and could hold a call for good on a blocking socket.
 * @param socket stays the caller's and open
 * @return null, with the reason in the error queue, when memory is short
 */
OpenSslPtr<BIO> makeSocketTransport(int socket);

/** Holds a connection's transport to the time of one call, as long as it lives. The SSL must keep its transport. */
class TransportLimit {
public:
    /** @param deadline must outlive the object; without a limit nothing happens */
    TransportLimit(const SSL* ssl, const Deadline& deadline) : m_filter(deadline.isSet() ? filterOf(ssl) : nullptr) {
        setDeadline(&deadline);
    }
    ~TransportLimit() { setDeadline(nullptr); }
    TransportLimit(const TransportLimit&) = delete;
    TransportLimit& operator=(const TransportLimit&) = delete;

private:
    /** @return the filter of a connection; null when its transport is not ours */
    static BIO* filterOf(const SSL* ssl);

    void setDeadline(const Deadline* deadline) {
        if (m_filter != nullptr) {
            BIO_set_data(m_filter, const_cast<Deadline*>(deadline));
        }
    }

    BIO* m_filter; ///< null where there is no limit, or the transport is the caller's own
};

} // namespace CmnCrypto::tls

#endif
