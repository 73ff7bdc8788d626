// Loading, showing, using and writing a private key; certificate requests and new keys and certificates have sources of
// their own.

// clang-format off: it must come before any other OpenSSL header
#include "ossl/DeprecatedRsa.h"
// clang-format on

#include <climits>
#include <vector>

#include "cmncrypto/CertificatePrivateKeyFactory.h"
#include "cmncrypto/CmnApi.h"
#include "cmncrypto/X509PrivateKey.h"
#include "frame/Failure.h"
#include "frame/HashAlgorithmTable.h"
#include "ossl/ErrorQueue.h"
#include "x509/PrivateKeyPem.h"

namespace CmnCrypto {

namespace {

constexpr const char* signTag = "X509PrivateKey::getSign";
constexpr const char* encryptedTag = "X509PrivateKey::getEVPPrivateKeyEncrypted";

/** The text of the latest OpenSSL error, which stays queued. */
std::string latestError() {
    char text[256];
    ERR_error_string_n(ERR_peek_last_error(), text, sizeof text);
    return text;
}

bool isRsa(const EVP_PKEY* key) {
    const int kind = EVP_PKEY_get_base_id(key);
    return kind == EVP_PKEY_RSA || kind == EVP_PKEY_RSA_PSS;
}

} // namespace

X509PrivateKey::X509PrivateKey(const std::string& pem, const std::string& passphrase) : m_pem(pem), m_owns(true) {
    CmnApi::initOpenssl();
    try {
        getEVPPrivateKeyEncrypted(passphrase);
    } catch (...) {
        OPENSSL_cleanse(m_pem.data(), m_pem.size()); // the destructor will not run
        throw;
    }
}

X509PrivateKey::X509PrivateKey(const std::string& path, pem_password_cb* callback, void* userData) : m_owns(true) {
    constexpr const char* function = "X509PrivateKey::X509PrivateKey";
    CmnApi::initOpenssl();
    const int result =
        CertificatePrivateKeyFactory::generateEVP_PKEY(path, CmnApi::cert_util_logger, callback, userData, &m_key);
    if (result != 0) {
        clogmsg(logFailure, function, "Failed to read private key from file, with error %d", result);
        throw CmnException("Failed to read private key from file", result);
    }
}

X509PrivateKey::X509PrivateKey(EVP_PKEY* key, bool owns) : m_key(key), m_owns(owns) {}

X509PrivateKey::X509PrivateKey(const X509PrivateKey& other) : LibraryObject(other) {}

// NOLINTNEXTLINE(misc-unconventional-assign-operator): an empty object comes back, as callers expect
X509PrivateKey X509PrivateKey::operator=(const X509PrivateKey& other) {
    return X509PrivateKey(other);
}

X509PrivateKey::~X509PrivateKey() {
    OPENSSL_cleanse(m_pem.data(), m_pem.size());
    if (m_owns) {
        EVP_PKEY_free(m_key);
    }
}

void X509PrivateKey::getEVPPrivateKey() {
    constexpr const char* function = "X509PrivateKey::getEVPPrivateKey";
    const ossl::ErrorScope errors;
    const OpenSslPtr<BIO> bio(BIO_new_mem_buf(m_pem.c_str(), -1));
    const OpenSslPtr<RSA> rsa(bio ? PEM_read_bio_RSAPrivateKey(bio.get(), nullptr, refusePassPhrase, nullptr)
                                  : nullptr);
    if (!rsa) {
        fail(function, "Could not read private key", CmnException::noCode);
    }
    clogmsg(logInfo, function, "Create evp obj to hold our rsakey ");
    OpenSslPtr<EVP_PKEY> key(EVP_PKEY_new());
    if (!key) {
        fail(function, "Could not create EVP object", CmnException::noCode);
    }
    if (EVP_PKEY_set1_RSA(key.get(), rsa.get()) != 1) {
        fail(function, "Could not assign RSA key to EVP object", CmnException::noCode);
    }
    m_key = key.release();
}

void X509PrivateKey::getEVPPrivateKeyEncrypted(const std::string& passphrase) {
    const ossl::ErrorScope errors;
    const OpenSslPtr<BIO> bio(BIO_new_mem_buf(m_pem.c_str(), -1));
    if (!bio) {
        fail(encryptedTag, "BIO_new_mem_buf() failed", CmnException::noCode);
    }
    // Without a pass phrase an encrypted key fails at once: nothing may ask on a terminal.
    PassPhrase source(passphrase);
    ReadKey read =
        readPrivateKeyPem(bio.get(), source, [](const char* text) { clogmsg(logFailure, encryptedTag, "%s", text); });
    if (read.key) {
        m_key = read.key.release();
        return;
    }
    const std::string error = isLogged() ? latestError() : ""; // now, as the host's callback may use the library
    clogmsg(logFailure, encryptedTag, "Could not read private key");
    clogmsg(logFailure, encryptedTag, "openssl error - %s", error.c_str());
    if (passphrase.empty() && source.wasAsked()) {
        fail(encryptedTag,
             "The private key of the external certificate is encrypted, but the passphrase is not specified",
             codeKeyEncrypted);
    }
    if (read.fipsRefused) {
        fail(encryptedTag, "Provided private key is not FIPS supported.", codeFipsRefused);
    }
    throw CmnException("Could not read private key"); // logged above
}

uint16_t X509PrivateKey::getKeySize() const {
    constexpr const char* function = "X509PrivateKey::getKeySize";
    if (m_key == nullptr || !isRsa(m_key)) {
        fail(function, "Fail to extract RSA from private key.", codeNoMemory);
    }
    const auto bits = static_cast<uint16_t>(EVP_PKEY_get_size(m_key) * 8);
    clogmsg(logInfo, function, "Keysize is [%u]", static_cast<unsigned int>(bits));
    return bits;
}

std::string X509PrivateKey::getSign(const std::string& data, _HASH_ALGO algorithm) const {
    const ossl::ErrorScope errors;
    const OpenSslPtr<EVP_MD_CTX> context(EVP_MD_CTX_create());
    if (!context) {
        fail(signTag, "Failed to create context for creation of signature.", CmnException::noCode);
    }
    clogmsg(logInfo, signTag, "Calling sign init.");
    const EVP_MD* digest = hashAlgorithmDigest(algorithm);
    if (digest == nullptr || EVP_SignInit(context.get(), digest) != 1) {
        fail(signTag, "Failed to initialize sign context.", "Failed to initialize sign context", CmnException::noCode);
    }
    clogmsg(logInfo, signTag, "Calling sign update.");
    if (EVP_SignUpdate(context.get(), data.data(), data.size()) != 1) {
        fail(signTag, "Failed to sign content update failed.", "Failed to sign content update failed",
             CmnException::noCode);
    }
    clogmsg(logInfo, signTag, "Calling sign final.");
    const int size = m_key == nullptr ? 0 : EVP_PKEY_get_size(m_key);
    std::vector<unsigned char> signature(size > 0 ? static_cast<size_t>(size) : 0);
    unsigned int length = 0;
    if (signature.empty() || EVP_SignFinal(context.get(), signature.data(), &length, m_key) != 1) {
        fail(signTag, "Failed to sign content final failed.", "Failed to sign content final failed",
             CmnException::noCode);
    }
    try {
        return CmnApi::B64Encode(signature.data(), static_cast<int>(length));
    } catch (const std::string& text) { // logged; callers of this operation catch nothing but CmnException
        throw CmnException(text);
    }
}

int X509PrivateKey::saveToFile(std::FILE* file, const std::string& passphrase) const {
    constexpr const char* function = "X509PrivateKey::saveToFile";
    const ossl::ErrorScope errors;
    clogmsg(logInfo, function, "Writing private Key");
    const bool plain = passphrase.empty();
    clogmsg(logInfo, function, plain ? "Saving private key as plain text" : "Saving encrypted private key");
    const auto* pass = plain ? nullptr : reinterpret_cast<const unsigned char*>(passphrase.data());
    if (file == nullptr || m_key == nullptr || passphrase.size() > INT_MAX ||
        PEM_write_PrivateKey(file, m_key, plain ? nullptr : EVP_aes_256_cbc(), pass,
                             static_cast<int>(passphrase.size()), nullptr, nullptr) != 1) {
        clogmsg(logFailure, function, "Failed to persist private key into file.");
        return 1;
    }
    return 0;
}

int X509PrivateKey::getPrivKeyStatus(const std::string& pem, const std::string& passphrase) {
    try {
        const X509PrivateKey plain(pem, "");
        return 0;
    } catch (const CmnException&) { // the failure is logged; the next attempt tells what it means
    }
    try {
        const X509PrivateKey opened(pem, passphrase);
        return 1;
    } catch (const CmnException& failure) {
        return failure.getErrorCode();
    }
}

void X509PrivateKey::releasePrivateKey(EVP_PKEY** key) {
    if (key == nullptr || *key == nullptr) {
        clogmsg(logInfo, "X509PrivateKey::releasePrivateKey", "Private key is null, cannot be released");
        return;
    }
    EVP_PKEY_free(*key); // the pointer stays: callers set it to null themselves
}

EVP_PKEY* X509PrivateKey::getEVPKey() const noexcept {
    return m_key;
}

} // namespace CmnCrypto
