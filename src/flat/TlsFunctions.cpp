#include "cmncrypto/SSLCTXHelper.h"
#include "cmncrypto/TLSOperations.h"
#include "cmncrypto/cmncrypto.h"
#include "flat/OnPath.h"
#include "ossl/OpenSsl.h"

using namespace CmnCrypto;

namespace {

// The formats are literals of the callers, each with its one "%s".
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

/** Runs a step of TLS; what it throws is logged once more, under the flat function's name. */
template <class Step> int guardedStep(const char* function, const char* failureFormat, Step&& step) noexcept {
    return guarded(function, [&] {
        try {
            return step();
        } catch (const CmnException& failure) {
            clogmsg(logFailure, function, failureFormat, failure.what());
            throw;
        }
    });
}

#pragma GCC diagnostic pop

} // namespace

int cmncrypto_tlsInitClient(X509* certificate, EVP_PKEY* key, const char* cipherList, SSL** ssl) {
    return guardedStep("cmncrypto_tlsInitClient", "cmncrypto_tlsInitClient function failed. Error:%s", [=] {
        if (ssl != nullptr) {
            *ssl = nullptr; // also where there is no memory for a context
        }
        return TLSOperations(CTX_INIT_CLIENT).tlsInitClient(certificate, key, cipherList, ssl);
    });
}

int cmncrypto_tlsAccept(int socket, SSL** ssl) {
    // A negative number becomes one that no socket has.
    return guardedStep("cmncrypto_tlsAccept", "cmncrypto_tlsAccept function failed. Error:%s",
                       [=] { return TLSOperations::tlsAccept(static_cast<uint64_t>(socket), ssl); });
}

int cmncrypto_tlsRead(SSL* ssl, uint64_t socket, int size, void* buffer, int* count) {
    return guardedStep("cmncrypto_tlsRead", "cmncrypto_tlsRead function failed. Error:%s",
                       [=] { return TLSOperations::tlsRead(ssl, socket, size, buffer, count); });
}

int cmncrypto_tlsWrite(uint64_t socket, const void* data, uint64_t length, SSL** ssl, int* count) {
    return guardedStep("cmncrypto_tlsWrite", "cmncrypto_tlsWrite function failed. Error:%s",
                       [=] { return TLSOperations::tlsWrite(socket, data, length, ssl, count); });
}

int cmncrypto_tlsFinish(SSL* ssl, uint64_t socket) {
    return guardedStep("cmncrypto_tlsFinish", "cmncrypto_tlsFinish function failed. Error:%s",
                       [=] { return TLSOperations::tlsFinish(ssl, socket); });
}

int set_ca_cert_in_ssl_context_c(const char* path, cmncrypto_cert_log_cb logger, SSL_CTX* context) {
    return onPath("set_ca_cert_in_ssl_context_c", path, [=](const std::string& file) {
        return SSLCTXHelper::set_ca_cert_in_ssl_context(file, logger, context);
    });
}

int set_cert_chain_in_ssl_context_c(const char* path, cmncrypto_cert_log_cb logger, SSL_CTX* context) {
    return onPath("set_cert_chain_in_ssl_context_c", path, [=](const std::string& file) {
        return SSLCTXHelper::set_cert_chain_in_ssl_context(file, logger, context);
    });
}

int set_private_key_in_ssl_context_c(const char* path, const char* passPhrase, cmncrypto_cert_log_cb logger,
                                     SSL_CTX* context) {
    return onPath("set_private_key_in_ssl_context_c", path, [=](const std::string& file) {
        return SSLCTXHelper::set_private_key_in_ssl_context(file, passPhrase, logger, context);
    });
}
