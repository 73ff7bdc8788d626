#include "ClientCheck.h"

#include <new>

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include "ChainVerification.h"
#include "OpenSslOwner.h"
#include "PemInput.h"
#include "ReadableName.h"
#include "Report.h"
#include "cmncrypto/CrlUtil.h"

namespace CmnCrypto::Cli {

namespace {

/** Leaves the decision to us, who can tell the client why. */
int acceptForNow(int, X509_STORE_CTX*) {
    return 1;
}

} // namespace

ClientCheck::ClientCheck(const std::string& ca, const std::vector<std::string>& lists)
    : m_trusted(trustedCertificatesAsPem(ca)) {
    m_store.setTrustedCerts(m_trusted);
    if (lists.empty()) {
        return;
    }
    const GivenLists given(lists);
    std::string pem;
    for (const Crl* list : given.lists) {
        pem += list->getPemCrl();
    }
    m_store.setCrl(pem);
    m_store.setCrlCheckLevel(CRL_CHECK_LEAF);
    Details remarks;
    given.addTo(remarks);
    remarks.printOrWarn(false, false);
}

void ClientCheck::askClients(SSL_CTX* context) const {
    const X509CertChain trusted(m_trusted, INIT_TYPE_BLOB);
    for (auto at = trusted.getCertChainBegin(); at != trusted.getCertChainEnd(); ++at) {
        if (SSL_CTX_add_client_CA(context, (*at)->getX509()) != 1) {
            throw std::bad_alloc();
        }
    }
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER, acceptForNow);
}

ClientCheck::Answer ClientCheck::judge(const SSL* ssl) {
    Answer answer;
    const OwnedCertificate leaf(SSL_get1_peer_certificate(ssl));
    if (!leaf) {
        return answer;
    }
    answer.subject = readableName(X509_get_subject_name(leaf.get()));
    std::string pem;
    {
        X509CertChain chain;
        chain.addCertToCertChain(X509Certificate(leaf.get(), false));
        const STACK_OF(X509)* const others = SSL_get_peer_cert_chain(ssl); // a server's view leaves the leaf out
        for (int i = 0; i < sk_X509_num(others); ++i) {
            chain.addCertToCertChain(X509Certificate(sk_X509_value(others, i), false));
        }
        pem = chain.getPemString();
    }
    const std::lock_guard<std::mutex> lock(m_oneAtATime);
    m_store.verifyX509Cert(pem);
    const int error = m_store.getStatus().code;
    answer.verdict = verdictOn(error);
    if (answer.verdict != verified) {
        answer.reason = std::string(X509_verify_cert_error_string(error)) + " (error " + std::to_string(error) +
                        ", code " + std::to_string(CrlUtil::getCrlQxuStatusFromSSLerr(error)) + ")";
    } else if (X509_check_purpose(leaf.get(), X509_PURPOSE_SSL_CLIENT, 0) != 1) {
        answer.verdict = rejected;
        answer.reason = "the certificate is not meant for TLS clients";
    }
    ERR_clear_error();
    return answer;
}

} // namespace CmnCrypto::Cli
