#include "cmncrypto/TLSOperations.h"

#include <string>

#include "cmncrypto/SSLCTXHelper.h"
#include "cmncrypto/WinCertStoreOpenSSLHelper.h"
#include "frame/Failure.h"
#include "libwincertstore/StorePathText.h"
#include "ossl/ErrorQueue.h"
#include "tls/Context.h"
#include "tls/ContextKey.h"
#include "tls/TlsRecipe.h"

namespace CmnCrypto {

namespace {

OpenSslPtr<SSL_CTX> makeContext(const SSL_METHOD* method) {
    constexpr const char* function = "TLSOperations";
    OpenSslPtr<SSL_CTX> context(SSL_CTX_new(method));
    if (!context) {
        failWithSslErrors(function, "Error: SSL_CTX_new() failed with error %s", "SSL_CTX_new() failed", codeNoMemory);
    }
    return context;
}

/** Has @p context be one that no connection was made from. @throws CmnException 36 */
void renew(std::shared_ptr<tls::Context>& context, const SSL_METHOD* method) {
    if (context->isUsed) {
        context = std::make_shared<tls::Context>(makeContext(method));
    }
    context->isUsed = true;
}

/** @return the context itself, null when there is none */
SSL_CTX* rawContext(const std::shared_ptr<tls::Context>& context) {
    return context ? context->ctx.get() : nullptr;
}

/** What both kinds of set-up end with. */
SSL* connectionOf(const char* function, int recipeResult, SSL_CTX* context) {
    if (recipeResult != 0) {
        fail(function, "Error: INIT of Context failed", "INIT of Context failed", recipeResult);
    }
    OpenSslPtr<SSL> ssl(SSL_new(context));
    if (!ssl) {
        failWithSslErrors(function, "Failed to create SSL object with error %s", "Failed to create SSL object",
                          codeNoMemory);
    }
    return ssl.release();
}

int refuse(const char* function, const char* text, int code) {
    clogmsg(logFailure, function, "%s", text);
    return code;
}

std::string textOf(const char* path) {
    return path == nullptr ? "" : path;
}

/** The first line of a file, wiped with this object. */
class PassPhraseFile {
public:
    PassPhraseFile() = default;
    ~PassPhraseFile() { OPENSSL_cleanse(m_text, sizeof m_text); }
    PassPhraseFile(const PassPhraseFile&) = delete;
    PassPhraseFile& operator=(const PassPhraseFile&) = delete;

    /** @param path empty for no pass phrase. @return 0, or the code of a file that cannot be read */
    int read(const std::string& path) {
        return path.empty() ? 0 : CmnApi::readStringFromFile(path.c_str(), m_text, sizeof m_text);
    }
    const char* text() const { return m_text; }

private:
    char m_text[1024] = {};
};

constexpr const char* masterRecipe = "tls_ctx_init_master";

int loadKey(SSL_CTX* context, const CertInfoPath& paths) {
    const X509* const certificate = SSL_CTX_get0_certificate(context);
    PassPhraseFile passPhrase;
    const std::string passPhrasePath = textOf(paths.passPhrasePath);
    if (const int result = passPhrase.read(passPhrasePath); result != 0) {
        clogmsg(logFailure, masterRecipe, "Failed to load PassPhrase from file : [%s]", passPhrasePath.c_str());
        return result;
    }
    if (const int result = tls::useKeyFile(context, textOf(paths.privateKeyPath), passPhrase.text(),
                                           CmnApi::cert_util_logger, tls::KeyOf::anything);
        result != 0) {
        return refuse(masterRecipe, "Error: set_private_key_in_ssl_context() failed", result);
    }
    if (!tls::keyMatches(context, certificate)) {
        clogmsg(logFailure, masterRecipe, "Error: SSL_CTX_check_private_key() failed with [%s]",
                drainSslErrors().c_str());
        return codeKeyMismatch;
    }
    return 0;
}

int loadFromFiles(SSL_CTX* context, const CertInfoPath& paths, int loadCa) {
    if (loadCa == 1) {
        if (const int result =
                SSLCTXHelper::set_ca_cert_in_ssl_context(textOf(paths.caCertPath), CmnApi::cert_util_logger, context);
            result != 0) {
            clogmsg(logFailure, masterRecipe, "Error: set_ca_cert_in_ssl_context() failed");
            return refuse(masterRecipe, "Error loading CA file", result);
        }
    }
    if (const int result =
            SSLCTXHelper::set_cert_chain_in_ssl_context(textOf(paths.certChainPath), CmnApi::cert_util_logger, context);
        result != 0) {
        return refuse(masterRecipe, "Error: set_cert_chain_in_ssl_context failed", result);
    }
    if (const int result = loadKey(context, paths); result != 0) {
        return result;
    }
    SSL_CTX_set_verify(context, SSL_VERIFY_NONE, nullptr);
    clogmsg(logInfo, masterRecipe, "TLS context initialization completed successfully");
    return 0;
}

} // namespace

TLSOperations::TLSOperations(CTX_INIT_TYPE type) {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    switch (type) {
    case CTX_INIT_MASTER:
        m_masterContext = std::make_shared<tls::Context>(makeContext(SSLv23_method()));
        break;
    case CTX_INIT_CLIENT:
        m_clientContext = std::make_shared<tls::Context>(makeContext(SSLv23_server_method()));
        break;
    default:
        fail("TLSOperations", "Unknown date type", CmnException::noCode); // the text is what hosts search for
    }
}

TLSOperations::TLSOperations(const TLSOperations& other) = default;
TLSOperations& TLSOperations::operator=(const TLSOperations& other) = default;
TLSOperations::~TLSOperations() = default;

void TLSOperations::setWinCertStoreOpenSSLHelper(
    const std::shared_ptr<WinCertStore::WinCertStoreOpenSSLHelper>& helper) {
    m_winCertStoreHelper = helper;
}

int TLSOperations::tlsInitClient(X509* certificate, EVP_PKEY* key, const char* cipherList, SSL** ssl) {
    const ossl::ErrorScope errors;
    int result = codeInvalidArgument;
    if (ssl != nullptr) {
        *ssl = nullptr;
        result = tls_ctx_init_client(certificate, key, cipherList);
    }
    SSL* const made = connectionOf("tlsInitClient", result, rawContext(m_clientContext));
    *ssl = made;
    return 0;
}

int TLSOperations::tls_ctx_init_client(X509* certificate, EVP_PKEY* key, const char* cipherList) {
    constexpr const char* function = "tls_ctx_init_client";
    if (certificate == nullptr) {
        return refuse(function, "X509 Certificate is NULL.", codeCryptoFailed);
    }
    if (key == nullptr) {
        return refuse(function, "Private KEY is NULL.", codeCryptoFailed);
    }
    if (!m_clientContext) {
        return refuse(function, "There is no context for certificates from memory.", codeInvalidArgument);
    }
    if (!m_clientContext->serves(cipherList, certificate)) {
        renew(m_clientContext, SSLv23_server_method());
    }
    if (const int result = tls::setCiphers(*m_clientContext, cipherList); result != 0) {
        return result;
    }
    m_clientContext->isReady = false; // until everything that follows has worked
    SSL_CTX* const context = m_clientContext->ctx.get();
    if (SSL_CTX_use_certificate(context, certificate) != 1) {
        clogmsg(logFailure, function, "Error: SSL_CTX_use_certificate() failed with error %s",
                drainSslErrors().c_str());
        return codeTlsRefused;
    }
    if (const int result = tls::useKey(context, key); result != 0) {
        clogmsg(logFailure, function, "Error: SSL_CTX_use_PrivateKey() failed with error %s", drainSslErrors().c_str());
        return result;
    }
    if (!tls::keyMatches(context, certificate)) {
        clogmsg(logFailure, function, "Error: SSL_CTX_check_private_key() failed with error %s",
                drainSslErrors().c_str());
        return codeKeyMismatch;
    }
    SSL_CTX_set_verify(context, SSL_VERIFY_NONE, nullptr);
    m_clientContext->isReady = true;
    clogmsg(logInfo, function, "Method successfully completed");
    return 0;
}

int TLSOperations::tlsInitMaster(const CertInfoPath* paths, const char* cipherList, int loadCa, SSL** ssl) {
    const ossl::ErrorScope errors;
    int result = codeInvalidArgument;
    if (ssl != nullptr) {
        *ssl = nullptr;
        result = tls_ctx_init_master(paths, cipherList, loadCa);
    }
    SSL* const made = connectionOf("tlsInitMaster", result, rawContext(m_masterContext));
    *ssl = made;
    return 0;
}

int TLSOperations::tls_ctx_init_master(const CertInfoPath* paths, const char* cipherList, int loadCa) {
    if (paths == nullptr) {
        return refuse(masterRecipe, "Invalid argument", codeInvalidArgument);
    }
    if (!m_masterContext) {
        return refuse(masterRecipe, "There is no context for certificates from files.", codeInvalidArgument);
    }
    const std::string certificatePath = textOf(paths->certChainPath);
    renew(m_masterContext, SSLv23_method()); // reading the files takes longer than making a context
    SSL_CTX* const context = m_masterContext->ctx.get();
    if (const int result = tls::setCiphers(*m_masterContext, cipherList); result != 0) {
        return result;
    }
    return WinCertStore::isStorePath(certificatePath) ? loadFromStore(certificatePath.c_str())
                                                      : loadFromFiles(context, *paths, loadCa);
}

int TLSOperations::loadFromStore(const char* storePath) {
    if (!m_winCertStoreHelper) {
        return refuse(masterRecipe,
                      "m_win_cert_store_open_ssl_helper  must be initialized to use Windows certificate store.",
                      codeInvalidArgument);
    }
    const int result = m_winCertStoreHelper->get_ssl_ctx(storePath, m_masterContext->ctx.get());
    if (result != 0) {
        m_masterContext.reset();
        return refuse(masterRecipe, "TLS context initialization for Windows certstore failed", result);
    }
    SSL_CTX_set_verify(m_masterContext->ctx.get(), SSL_VERIFY_NONE, nullptr);
    clogmsg(logInfo, masterRecipe, "TLS context initialization for Windows certstore completed successfully");
    return 0;
}

} // namespace CmnCrypto
