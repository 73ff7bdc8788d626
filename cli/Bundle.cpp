#include "Bundle.h"

#include <new>
#include <utility>

#include <openssl/err.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>

#include "Failure.h"
#include "OpenSslOwner.h"
#include "cmncrypto/CmnApi.h"
#include "cmncrypto/CmnException.h"

namespace CmnCrypto::Cli {

namespace {

using OwnedBundle = Owned<PKCS12, PKCS12_free>;

void releaseStack(STACK_OF(X509)* stack) {
    sk_X509_pop_free(stack, X509_free);
}
using OwnedStack = Owned<STACK_OF(X509), releaseStack>;

/** @return null for what is no bundle, or more than one */
OwnedBundle decode(const Secret& content) {
    const auto* position = reinterpret_cast<const unsigned char*>(content.text().data());
    const auto* const end = position + content.size();
    OwnedBundle bundle(d2i_PKCS12(nullptr, &position, static_cast<long>(content.size())));
    ERR_clear_error();
    return position == end ? std::move(bundle) : OwnedBundle();
}

/** Adds what the library leaves out: the further certificates and the name. @return false when it cannot be read */
bool addRest(const Secret& content, const Secret& passPhrase, Bundle& result) {
    const OwnedBundle bundle = decode(content);
    EVP_PKEY* key = nullptr;
    X509* certificate = nullptr;
    STACK_OF(X509)* further = nullptr;
    const bool parsed = PKCS12_parse(bundle.get(), passPhrase.text().c_str(), &key, &certificate, &further) == 1;
    ERR_clear_error();
    const OwnedKey ownedKey(key);
    const OwnedCertificate ownedCertificate(certificate);
    const OwnedStack ownedFurther(further);
    for (int i = 0; i < sk_X509_num(further); ++i) {
        result.further += X509Certificate(sk_X509_value(further, i), false).getPemString();
    }
    int length = 0;
    if (const unsigned char* name = certificate == nullptr ? nullptr : X509_alias_get0(certificate, &length)) {
        result.name.assign(reinterpret_cast<const char*>(name), static_cast<size_t>(length));
    }
    return parsed;
}

/**
 * While it lives, this thread reads what older systems wrote. OpenSSL has no call that names the context for the key
 * of a bundle, so the context has to become the thread's own.
 */
class OldFormats {
public:
    OldFormats() : m_context(OSSL_LIB_CTX_new()) {
        if (!m_context) {
            throw std::bad_alloc(); // null would stand for the context of the process
        }
        m_standard.reset(OSSL_PROVIDER_load(m_context.get(), "default"));
        m_legacy.reset(OSSL_PROVIDER_load(m_context.get(), "legacy"));
        m_before = OSSL_LIB_CTX_set0_default(m_context.get());
    }
    ~OldFormats() { OSSL_LIB_CTX_set0_default(m_before); }
    OldFormats(const OldFormats&) = delete;
    OldFormats& operator=(const OldFormats&) = delete;

private:
    Owned<OSSL_LIB_CTX, OSSL_LIB_CTX_free> m_context;
    Owned<OSSL_PROVIDER, OSSL_PROVIDER_unload> m_standard;
    Owned<OSSL_PROVIDER, OSSL_PROVIDER_unload> m_legacy;
    OSSL_LIB_CTX* m_before = nullptr;
};

void addRestOfOldFormat(const Secret& content, const Secret& passPhrase, Bundle& result) {
    const OldFormats formats;
    if (!addRest(content, passPhrase, result)) {
        throw Failure(ExitCode::internal, "bundle: its further certificates cannot be read");
    }
}

/** @return whether the pass phrase fits; an empty one may stand for none */
bool fits(PKCS12* bundle, const Secret& passPhrase) {
    const bool fits = PKCS12_verify_mac(bundle, passPhrase.text().c_str(), static_cast<int>(passPhrase.size())) == 1 ||
                      (passPhrase.size() == 0 && PKCS12_verify_mac(bundle, nullptr, 0) == 1);
    ERR_clear_error();
    return fits;
}

Failure unusable(const std::string& label, PKCS12* bundle, const Secret& passPhrase, int32_t code) {
    const std::string why = CmnApi::getFIPSMode() != 0 ? "OpenSSL opens no bundle in FIPS mode; unpack it elsewhere"
                            : PKCS12_mac_present(bundle) != 1
                                ? "has no checksum, and OpenSSL opens no such bundle; make it anew with one"
                            : fits(bundle, passPhrase) ? "cannot be decrypted; --log-level failure shows more"
                            : passPhrase.size() > 0    ? "the pass phrase does not open this bundle"
                                                       : "a pass phrase is needed; give it with --pass-file FILE";
    return {ExitCode::keyUnusable, label + ": " + why, code};
}

} // namespace

Bundle openBundle(const Secret& content, Secret& passPhrase, const std::string& label) {
    const OwnedBundle bundle = decode(content);
    if (!bundle) {
        throw Failure(ExitCode::inputUnreadable, label + ": is no PKCS#12 bundle; give one in DER");
    }
    X509* certificate = nullptr;
    EVP_PKEY* key = nullptr;
    try {
        X509Certificate::extractCertFromPKCS12(reinterpret_cast<const unsigned char*>(content.text().data()),
                                               static_cast<int>(content.size()), passPhrase.data(), &certificate, &key);
    } catch (const CmnException& failure) {
        throw unusable(label, bundle.get(), passPhrase, failure.getErrorCode());
    }
    Bundle result;
    result.certificate.reset(certificate == nullptr ? nullptr : new X509Certificate(certificate, true));
    result.key.reset(key == nullptr ? nullptr : new X509PrivateKey(key, true));
    if (!addRest(content, passPhrase, result)) {
        addRestOfOldFormat(content, passPhrase, result);
    }
    return result;
}

namespace {

/** The library packs one certificate and its key. */
Secret packPair(X509* certificate, EVP_PKEY* key, Secret& passPhrase) {
    for (int size = 16384;; size *= 4) {
        Secret content(static_cast<size_t>(size));
        int length = size;
        X509Certificate::convertToPKCS12(certificate, key, passPhrase.data(), content.bytes(), &length);
        if (length < size) { // otherwise it was cut
            content.shorten(static_cast<size_t>(length));
            return content;
        }
    }
}

Secret packChain(const X509CertChain& chain, EVP_PKEY* key, const std::string& name, const Secret& passPhrase) {
    const OwnedStack further(chain.getX509CertificateStack());
    const OwnedCertificate certificate(sk_X509_shift(further.get()));
    const OwnedBundle bundle(PKCS12_create(passPhrase.text().c_str(), name.empty() ? nullptr : name.c_str(), key,
                                           certificate.get(), further.get(), 0, 0, 0, 0, 0));
    const int length = bundle ? i2d_PKCS12(bundle.get(), nullptr) : 0;
    if (length <= 0) {
        throw Failure(ExitCode::internal, "bundle: cannot be made: " + getAndClearSslErrStack());
    }
    Secret content(static_cast<size_t>(length));
    unsigned char* position = content.bytes();
    i2d_PKCS12(bundle.get(), &position);
    return content;
}

} // namespace

Secret makeBundle(const X509CertChain& chain, const X509PrivateKey& key, const std::string& name, Secret& passPhrase) {
    return chain.getCertChainLength() == 1 && name.empty()
               ? packPair((*chain.getCertChainBegin())->getX509(), key.getEVPKey(), passPhrase)
               : packChain(chain, key.getEVPKey(), name, passPhrase);
}

} // namespace CmnCrypto::Cli
