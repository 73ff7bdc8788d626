#ifndef CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_SOFTWARECONTEXT_H
#define CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_SOFTWARECONTEXT_H

#include <atomic>
#include <memory>
#include <string>

#include "cmncrypto/CertStorePlatform.h"
#include "ossl/OpenSsl.h"

namespace CmnCrypto::WinCertStore {

/** One certificate of a software store, and where its key is. */
struct SoftwareContext {
    std::atomic<int> count{1};
    OpenSslPtr<X509> certificate;
    OpenSslPtr<unsigned char> der;
    size_t derLength = 0;
    std::string file;               ///< where the certificate stands
    std::string keyFile;            ///< the PEM file with the key, which is read when it is asked for
    OpenSslPtr<EVP_PKEY> bundleKey; ///< the key of a bundle
    size_t position = 0;            ///< among the files of its store
    bool readOnly = true;           ///< its store was opened to be read
    bool keyIsOlder = false;        ///< the key was there first, and stays when the certificate is taken back
};

/** @return the context behind a pointer that the store has handed out */
inline SoftwareContext* softwareContext(CertContext context) noexcept {
    return static_cast<SoftwareContext*>(const_cast<void*>(context)); // NOLINT: only its count changes
}

/** @return whether a file of this name counts as a certificate of a store */
bool isCertificateFile(const std::string& name);

/** Reads one certificate file. @return null, after a warning, when there is no certificate in it @throws std::bad_alloc
 */
std::unique_ptr<SoftwareContext> readCertificateFile(const std::string& path);

/** @return whether a file holds this certificate, or its private key @throws std::bad_alloc */
bool holdsCertificate(const std::string& path, const X509* certificate);
bool holdsKey(const std::string& path, X509* certificate);

/**
 * Reads the key of a certificate.
 * @return 0; CRYPT_E_NO_KEY_PROPERTY, NTE_KEYSET_ENTRY_BAD or NTE_BAD_PUBLIC_KEY, the last two after a warning
 * @throws std::bad_alloc
 */
uint32_t readKeyOf(const SoftwareContext& context, OpenSslPtr<EVP_PKEY>& key);

/** @return the other certificates of the file in which a certificate stands: its issuers, as issuing tools deliver
 * them; null when memory is short */
OpenSslPtr<STACK_OF(X509)> companionsOf(const SoftwareContext& context);

/** @return a context around a certificate, which it takes; null when memory is short @throws std::bad_alloc */
std::unique_ptr<SoftwareContext> makeContext(OpenSslPtr<X509> certificate);

} // namespace CmnCrypto::WinCertStore

#endif
