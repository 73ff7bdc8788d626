// Certificates and bundles out of stores into files.

#include <vector>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/WinCertStoreHelper.h"
#include "libwincertstore/PlatformFailure.h"
#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"
#include "ossl/ErrorQueue.h"
#include "x509/NewFile.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* writeTag = "WinCertStoreHelper::ExportCertificate";
constexpr const char* packTag = "WinCertStoreHelper::ExportPKCS12";

constexpr KnownError keyStays(uint32_t error) {
    return {error, error, WIN_CERT_STORE_KEY_NOT_EXPORTABLE};
}

constexpr KnownError keyMissing(uint32_t error) {
    return {error, error, WIN_CERT_STORE_NO_PRIVATE_KEY};
}

/** Writes a new file. @param write puts the content into it @throws std::bad_alloc */
template <class Write>
WinCertStoreError writeFile(const char* function, const std::string& path, NewFileReaders readers, const Write& write) {
    try {
        NewFile file(function, path, codeWriteFailed, readers);
        write(file);
        file.finish();
        return WIN_CERT_STORE_OK;
    } catch (const CmnException& failure) { // logged
        return failure.getErrorCode() == codeAllocationFailed ? WIN_CERT_STORE_NO_MEMORY
                                                              : WIN_CERT_STORE_EXPORT_NOT_WRITTEN;
    }
}

WinCertStoreError exportPem(const WinCertStoreCertificate& certificate, const std::string& path) {
    const OpenSslPtr<X509> decoded(certificate.GetX509());
    if (!decoded) {
        return WIN_CERT_STORE_EXPORT_FAILED; // logged
    }
    return writeFile(writeTag, path, NewFileReaders::asUsual, [&](NewFile& file) { file.write(decoded.get()); });
}

WinCertStoreError exportDer(const WinCertStoreCertificate& certificate, const std::string& path) {
    const EncodedCertificate encoded = certificate.GetPlatform()->encoded(certificate.GetContext());
    if (encoded.data == nullptr) {
        logFailureOf(writeTag, {"The certificate has no encoded form."});
        return WIN_CERT_STORE_EXPORT_FAILED;
    }
    return writeFile(writeTag, path, NewFileReaders::asUsual,
                     [&](NewFile& file) { file.write(encoded.data, encoded.length); });
}

/** A bundle, wiped with the object. */
struct BundleBytes {
    BundleBytes() = default;
    ~BundleBytes() { OPENSSL_cleanse(der.data(), der.size()); }
    BundleBytes(const BundleBytes&) = delete;
    BundleBytes& operator=(const BundleBytes&) = delete;
    std::vector<unsigned char> der;
};

WinCertStoreError exportBundle(const WinCertStoreCertificate& certificate, const std::string& path,
                               const std::string& password) {
    const std::shared_ptr<CertStorePlatform> platform = certificate.GetPlatform();
    BundleBytes bundle;
    if (const uint32_t error = platform->exportBundle(certificate.GetContext(), password, bundle.der)) {
        return platformFailure(packTag, {"The certificate cannot be exported with its private key"}, *platform, error,
                               WIN_CERT_STORE_EXPORT_FAILED,
                               {keyStays(windowsPermission), keyStays(windowsBadKeyState), keyStays(windowsBadKey),
                                keyStays(windowsKeyStays), keyMissing(windowsNoKeyProperty),
                                keyMissing(windowsNotFound), keyMissing(windowsNoKey)});
    }
    return writeFile(packTag, path, NewFileReaders::owner,
                     [&](NewFile& file) { file.write(bundle.der.data(), bundle.der.size()); });
}

/** Runs @p body unless the wrapper is empty. */
template <class Body>
WinCertStoreError exported(const char* function, const WinCertStoreCertificate& certificate,
                           const Body& body) noexcept {
    return withoutThrowing(function, WIN_CERT_STORE_NO_MEMORY, [&] {
        if (certificate.GetContext() == nullptr) {
            logFailureOf(function, {"There is no certificate."});
            return WIN_CERT_STORE_NOT_FOUND;
        }
        CmnApi::initOpenssl();
        const ossl::ErrorScope errors;
        return body();
    });
}

} // namespace

WinCertStoreError WinCertStoreHelper::ExportCertificate(const WinCertStoreCertificate& certificate,
                                                        const std::string& path, CertFileFormat format) noexcept {
    return exported(writeTag, certificate, [&] {
        return format == CERT_FILE_DER ? exportDer(certificate, path) : exportPem(certificate, path);
    });
}

WinCertStoreError WinCertStoreHelper::ExportPKCS12(const WinCertStoreCertificate& certificate, const std::string& path,
                                                   const std::string& password) noexcept {
    return exported(packTag, certificate, [&] { return exportBundle(certificate, path, password); });
}

} // namespace CmnCrypto::WinCertStore
