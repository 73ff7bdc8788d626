// Certificates and bundles from files into stores.

#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/WinCertStoreHelper.h"
#include "libwincertstore/OpenStore.h"
#include "libwincertstore/PlatformFailure.h"
#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/software/Folder.h"
#include "ossl/ErrorQueue.h"
#include "x509/BundleReader.h"
#include "x509/FileContents.h"
#include "x509/PassPhrase.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* certificatesTag = "WinCertStoreHelper::ImportCertificates";
constexpr const char* bundleTag = "WinCertStoreHelper::ImportPKCS12";

constexpr KnownError wrongPassword = {windowsInvalidPassword, windowsInvalidPassword, WIN_CERT_STORE_WRONG_PASSWORD};
constexpr KnownError noKey = {windowsNoKeyProperty, windowsNoKeyProperty, WIN_CERT_STORE_NO_PRIVATE_KEY};
constexpr KnownError invalidData = {windowsInvalidData, windowsInvalidData, WIN_CERT_STORE_IMPORT_UNREADABLE};
constexpr KnownError badData = {windowsBadData, windowsBadData, WIN_CERT_STORE_IMPORT_UNREADABLE};
constexpr KnownError badEncoding = {windowsBadEncoding, windowsBadEncoding, WIN_CERT_STORE_IMPORT_UNREADABLE};
constexpr KnownError malformed = {windowsMalformedEncoding, windowsMalformedEncoding + 0xFF,
                                  WIN_CERT_STORE_IMPORT_UNREADABLE};

constexpr char derBegins = 0x30; ///< as a SEQUENCE

struct Bytes {
    const unsigned char* data = nullptr;
    size_t length = 0;
};

Bytes bytesOf(BIO* memory) {
    const char* data = nullptr;
    const long length = BIO_get_mem_data(memory, &data);
    return {reinterpret_cast<const unsigned char*>(data), static_cast<size_t>(length)};
}

WinCertStoreError readFile(const char* function, const std::string& path, FileContents& contents) {
    const bool isFolder = kindOfEntry(path) == EntryKind::folder;
    errno = 0;
    const int code = isFolder ? codeReadFailed : contents.read(path);
    const int reason = errno;
    switch (code) {
    case 0:
        return WIN_CERT_STORE_OK;
    case codeOpenFailed:
        logFailureOf(function,
                     {"The file [", path, "] cannot be opened: ", std::generic_category().message(reason), "."});
        return WIN_CERT_STORE_IMPORT_NOT_OPENED;
    case codeNoMemory:
        throw std::bad_alloc();
    default:
        logFailureOf(function, {"The file [", path,
                                isFolder ? "] is a folder." : "] cannot be read, or is larger than any such file."});
        return WIN_CERT_STORE_IMPORT_UNREADABLE;
    }
}

/** Reads certificates in PEM until the text ends. @return false when one is malformed */
bool readPem(BIO* text, std::vector<OpenSslPtr<X509>>& certificates) {
    while (X509* const next = PEM_read_bio_X509_AUX(text, nullptr, refusePassPhrase, nullptr)) {
        certificates.emplace_back(next);
    }
    return ERR_GET_REASON(ERR_peek_last_error()) == PEM_R_NO_START_LINE;
}

/** Reads certificates in DER, one after the other. @return false when one is malformed */
bool readDer(Bytes bytes, std::vector<OpenSslPtr<X509>>& certificates) {
    const unsigned char* const end = bytes.data + bytes.length;
    const unsigned char* position = bytes.data;
    while (position < end) {
        X509* const next = d2i_X509(nullptr, &position, static_cast<long>(end - position)); // at most 64 MiB
        if (next == nullptr) {
            return false;
        }
        certificates.emplace_back(next);
    }
    return true;
}

WinCertStoreError readCertificates(const std::string& path, std::vector<OpenSslPtr<X509>>& certificates) {
    FileContents contents;
    if (const WinCertStoreError error = readFile(certificatesTag, path, contents)) {
        return error;
    }
    const OpenSslPtr<BIO> input = contents.view();
    if (!input) {
        throw std::bad_alloc();
    }
    const Bytes bytes = bytesOf(input.get());
    const std::string_view text(reinterpret_cast<const char*>(bytes.data), bytes.length);
    const bool isPem = text.find("-----BEGIN ") != std::string_view::npos;
    const bool areRead = isPem ? readPem(input.get(), certificates) : readDer(bytes, certificates);
    if (areRead && !certificates.empty()) {
        return WIN_CERT_STORE_OK;
    }
    const std::string reason = drainSslErrors();
    const std::string_view what = text.empty()                         ? "is empty."
                                  : isPem && areRead                   ? "holds no certificate."
                                  : isPem || text.front() == derBegins ? "holds none that is well-formed: "
                                                                       : "is neither PEM nor DER.";
    logFailureOf(certificatesTag, {"No certificates can be read from [", path, "], which ", what,
                                   what.back() == ' ' ? reason : std::string()});
    return WIN_CERT_STORE_IMPORT_UNREADABLE;
}

/** Certificates that are added to a store, and removed from it again unless all could be. */
class Additions {
public:
    Additions(std::shared_ptr<CertStorePlatform> platform, CertStoreHandle store)
        : m_platform(std::move(platform)), m_store(store) {}
    ~Additions() {
        for (const std::string& sha1 : m_added) {
            try {
                if (const CertContext context = find(sha1)) {
                    m_platform->removeFromStore(context);
                }
            } catch (const std::bad_alloc&) {
                clogmsg(logFailure, certificatesTag, "A certificate that was added cannot be removed again.");
            }
        }
    }
    Additions(const Additions&) = delete;
    Additions& operator=(const Additions&) = delete;

    /** Adds a certificate unless it is there. @return a Windows error number @throws std::bad_alloc */
    uint32_t add(X509* certificate) {
        unsigned char* der = nullptr;
        const int length = i2d_X509(certificate, &der);
        const OpenSslPtr<unsigned char> owner(der);
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned int size = 0;
        if (length <= 0 || X509_digest(certificate, EVP_sha1(), digest, &size) != 1) {
            return windowsProviderFailed;
        }
        const std::string sha1(digest, digest + size);
        if (keep(find(sha1))) {
            return 0;
        }
        if (const uint32_t error = addNewOne({der, static_cast<size_t>(length)}, sha1)) {
            return error;
        }
        keep(find(sha1));
        return 0;
    }

    /** Lets them stay. @return them as they are in the store */
    std::vector<WinCertStoreCertificate> finish() {
        m_added.clear();
        return std::move(m_found);
    }

private:
    uint32_t addNewOne(Bytes der, const std::string& sha1) {
        CertContext made = nullptr;
        if (const uint32_t error = m_platform->createContext(der.data, der.length, made)) {
            return error;
        }
        const WinCertStoreCertificate created(made, CERT_MEMORY_OWNED, m_platform);
        m_added.push_back(sha1); // before it is there, so that no shortage of memory leaves it behind
        const uint32_t error = m_platform->addToStore(m_store, made, addNew);
        if (error != 0) {
            m_added.pop_back();
        }
        return error == windowsExists ? 0 : error; // somebody else has just added it, and it is theirs to remove
    }
    CertContext find(const std::string& sha1) {
        return m_platform->findByHash(m_store, reinterpret_cast<const unsigned char*>(sha1.data()), nullptr);
    }
    bool keep(CertContext context) {
        const WinCertStoreCertificate found(context, CERT_MEMORY_OWNED, m_platform);
        if (context != nullptr) {
            m_found.push_back(found);
        }
        return context != nullptr;
    }

    std::shared_ptr<CertStorePlatform> m_platform;
    CertStoreHandle m_store;
    std::vector<std::string> m_added;
    std::vector<WinCertStoreCertificate> m_found;
};

WinCertStoreError importCertificates(const std::string& path, const std::string& storeName,
                                     std::vector<WinCertStoreCertificate>* imported) {
    std::vector<OpenSslPtr<X509>> certificates;
    if (const WinCertStoreError error = readCertificates(path, certificates)) {
        return error;
    }
    const std::shared_ptr<CertStorePlatform> platform = certStorePlatform();
    const OpenStore store(*platform, storeName, false);
    if (store.error() != 0) {
        return platformFailure(certificatesTag, {"The store ", storeName, " cannot be opened"}, *platform,
                               store.error(), WIN_CERT_STORE_IMPORT_NOT_ADDED);
    }
    Additions additions(platform, store.get());
    for (const OpenSslPtr<X509>& certificate : certificates) {
        if (const uint32_t error = additions.add(certificate.get())) {
            return platformFailure(certificatesTag, {"The store ", storeName, " does not take a certificate"},
                                   *platform, error, WIN_CERT_STORE_IMPORT_NOT_ADDED);
        }
    }
    std::vector<WinCertStoreCertificate> found = additions.finish();
    if (imported != nullptr) {
        *imported = std::move(found);
    }
    return WIN_CERT_STORE_OK;
}

OpenSslPtr<PKCS12> decoded(Bytes bytes) {
    const unsigned char* position = bytes.data;
    OpenSslPtr<PKCS12> bundle(d2i_PKCS12(nullptr, &position, static_cast<long>(bytes.length)));
    return position == bytes.data + bytes.length ? std::move(bundle) : nullptr;
}

WinCertStoreError importBundle(const std::string& path, const std::string& password, const std::string& storeName,
                               bool exportable, WinCertStoreCertificate* imported) {
    FileContents contents;
    if (const WinCertStoreError error = readFile(bundleTag, path, contents)) {
        return error;
    }
    const OpenSslPtr<BIO> input = contents.view();
    if (!input) {
        throw std::bad_alloc();
    }
    const Bytes bytes = bytesOf(input.get());
    const OpenSslPtr<PKCS12> bundle = decoded(bytes);
    if (!bundle) {
        logFailureOf(bundleTag, {"The file [", path, "] is no PKCS#12 bundle, or there is something behind it."});
        return WIN_CERT_STORE_IMPORT_UNREADABLE;
    }
    const std::shared_ptr<CertStorePlatform> platform = certStorePlatform();
    const OpenStore store(*platform, storeName, false);
    if (store.error() != 0) {
        return platformFailure(bundleTag, {"The store ", storeName, " cannot be opened"}, *platform, store.error(),
                               WIN_CERT_STORE_IMPORT_NOT_ADDED);
    }
    CertContext context = nullptr;
    const uint32_t error = platform->importBundle(store.get(), bytes.data, bytes.length, password, exportable, context);
    if (error != 0) {
        const WinCertStoreError failure = platformFailure(
            bundleTag, {"The bundle [", path, "] cannot be imported into the store ", storeName}, *platform, error,
            WIN_CERT_STORE_IMPORT_NOT_ADDED, {wrongPassword, noKey, invalidData, badData, badEncoding, malformed});
        // Not every system tells a wrong password from other failures.
        const bool unclear = failure == WIN_CERT_STORE_IMPORT_NOT_ADDED;
        return unclear && !bundlePasswordFits(bundle.get(), password) ? WIN_CERT_STORE_WRONG_PASSWORD : failure;
    }
    const WinCertStoreCertificate found(context, CERT_MEMORY_OWNED, platform);
    if (imported != nullptr) {
        *imported = found;
    }
    return WIN_CERT_STORE_OK;
}

} // namespace

WinCertStoreError WinCertStoreHelper::ImportCertificates(const std::string& path, const std::string& store,
                                                         std::vector<WinCertStoreCertificate>* imported) noexcept {
    return withoutThrowing(certificatesTag, WIN_CERT_STORE_NO_MEMORY, [&] {
        CmnApi::initOpenssl();
        const ossl::ErrorScope errors;
        return importCertificates(path, store, imported);
    });
}

WinCertStoreError WinCertStoreHelper::ImportPKCS12(const std::string& path, const std::string& password,
                                                   const std::string& store, bool exportable,
                                                   WinCertStoreCertificate* imported) noexcept {
    return withoutThrowing(bundleTag, WIN_CERT_STORE_NO_MEMORY, [&] {
        CmnApi::initOpenssl();
        const ossl::ErrorScope errors;
        return importBundle(path, password, store, exportable, imported);
    });
}

} // namespace CmnCrypto::WinCertStore
