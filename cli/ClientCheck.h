/** @file
 * The check of certificates that clients present.
 */
#ifndef CMNCRYPTO_CLI_CLIENTCHECK_H
#define CMNCRYPTO_CLI_CLIENTCHECK_H

#include <mutex>
#include <string>
#include <vector>

#include <openssl/ssl.h>

#include "GivenLists.h"
#include "OpenSslOwner.h"
#include "Verdict.h"
#include "cmncrypto/X509Store.h"

namespace CmnCrypto::Cli {

/** Asks clients for a certificate, which need not have one, and verifies those that do. */
class ClientCheck {
public:
    /** What is thought of a client. */
    struct Answer {
        Verdict verdict = verified;
        std::string subject; ///< of its certificate; empty where it has none
        std::string reason;  ///< unless it is verified
    };

    /** @param ca trusted certificates @param lists with none, revocation is not checked @throws Failure */
    ClientCheck(const std::string& ca, const std::vector<std::string>& lists);

    /** Has the connections of a context ask. The handshake itself accepts any certificate. */
    void askClients(SSL_CTX* context) const;
    /** Safe from several threads at once. */
    Answer judge(const SSL* ssl);

private:
    int weakness(const SSL* ssl, X509* leaf) const;

    std::string m_trusted;                        // PEM
    Owned<X509_STORE, X509_STORE_free> m_anchors; // the same
    std::mutex m_oneAtATime;
    X509Store m_store;
};

} // namespace CmnCrypto::Cli

#endif
