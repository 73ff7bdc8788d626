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

/** What the verification of a store does not ask is for this one only: whether keys and signatures are strong enough.
 */
int refuseWeak(int ok, X509_STORE_CTX* verification) {
    const int error = X509_STORE_CTX_get_error(verification);
    return ok == 1 || (error != X509_V_ERR_EE_KEY_TOO_SMALL && error != X509_V_ERR_CA_KEY_TOO_SMALL &&
                       error != X509_V_ERR_CA_MD_TOO_WEAK)
               ? 1
               : 0;
}

} // namespace

ClientCheck::ClientCheck(const std::string& ca, const std::vector<std::string>& lists)
    : m_trusted(trustedCertificatesAsPem(ca)), m_anchors(X509_STORE_new()) {
    m_store.setTrustedCerts(m_trusted);
    const X509CertChain trusted(m_trusted, INIT_TYPE_BLOB);
    for (auto at = trusted.getCertChainBegin(); at != trusted.getCertChainEnd(); ++at) {
        if (!m_anchors || X509_STORE_add_cert(m_anchors.get(), (*at)->getX509()) != 1) {
            throw std::bad_alloc();
        }
    }
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

/** @return X509_V_ERR_ value of a client too weak for the security level of its connection, 0 for none */
int ClientCheck::weakness(const SSL* ssl, X509* leaf) const {
    const Owned<X509_STORE_CTX, X509_STORE_CTX_free> verification(X509_STORE_CTX_new());
    if (!verification ||
        X509_STORE_CTX_init(verification.get(), m_anchors.get(), leaf, SSL_get_peer_cert_chain(ssl)) != 1) {
        throw std::bad_alloc();
    }
    X509_VERIFY_PARAM_set_auth_level(X509_STORE_CTX_get0_param(verification.get()), SSL_get_security_level(ssl));
    X509_STORE_CTX_set_verify_cb(verification.get(), refuseWeak);
    const bool strong = X509_verify_cert(verification.get()) == 1;
    return strong ? X509_V_OK : X509_STORE_CTX_get_error(verification.get());
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
    int error = m_store.getStatus().code;
    const X509CertChain* const built = m_store.getVerifiedX509CertChain();
    if (error == X509_V_OK && built != nullptr && unsuitableDepth(*built, X509_PURPOSE_SSL_CLIENT) > 0) {
        error = X509_V_ERR_INVALID_PURPOSE; // the client's own has a sentence of its own, below
    }
    error = error == X509_V_OK ? weakness(ssl, leaf.get()) : error;
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
