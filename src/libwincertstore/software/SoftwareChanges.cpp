// What the software store takes in and gives away beside adding a certificate.

#include <climits>
#include <memory>
#include <utility>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/SoftwareCertStore.h"
#include "frame/FileSystem.h"
#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/software/OpenFolder.h"
#include "libwincertstore/software/OwnedContext.h"
#include "ossl/ErrorQueue.h"
#include "x509/BundleReader.h"
#include "x509/NewFile.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* importTag = "SoftwareCertStore::importBundle";
constexpr size_t endingLength = 4; ///< of ".pem"

/** Takes a bundle apart. @return a Windows error number */
uint32_t unpack(const unsigned char* der, size_t length, const std::string& password, BundleParts& parts) {
    if (length > INT_MAX) {
        return windowsInvalidData;
    }
    const unsigned char* position = der;
    const OpenSslPtr<PKCS12> bundle(d2i_PKCS12(nullptr, &position, static_cast<long>(length)));
    if (!bundle) {
        return windowsMalformedEncoding;
    }
    if (!bundlePasswordFits(bundle.get(), password)) {
        return windowsInvalidPassword;
    }
    if (!readBundle(importTag, bundle.get(), der, static_cast<int>(length), password.c_str(), parts)) {
        const std::string reason = drainSslErrors();
        logFailureOf(importTag, {"The bundle cannot be opened: ", reason});
        return windowsInvalidData;
    }
    return parts.certificate && parts.key ? 0 : windowsNoKeyProperty;
}

void writeKey(const std::string& path, const EVP_PKEY* key) {
    NewFile file(importTag, path, codeReadFailed, NewFileReaders::owner);
    file.write(key);
    file.finish();
}

void writeCertificates(const std::string& path, const BundleParts& parts) {
    NewFile file(importTag, path, codeReadFailed);
    file.write(parts.certificate.get());
    for (int index = 0; index < sk_X509_num(parts.further.get()); ++index) {
        file.write(sk_X509_value(parts.further.get(), index));
    }
    file.finish();
}

/** A file that goes again unless it is kept. */
class Provisional {
public:
    explicit Provisional(const std::string& path) : m_path(path) {}
    ~Provisional() {
        if (!m_path.empty()) {
            removeFile(m_path);
        }
    }
    Provisional(const Provisional&) = delete;
    Provisional& operator=(const Provisional&) = delete;
    void keep() noexcept { m_path.clear(); }

private:
    std::string m_path;
};

/** Puts the key beside a certificate that is in the store without one. @return a Windows error number */
uint32_t complete(const SoftwareContext& existing, const EVP_PKEY* key) {
    OpenSslPtr<EVP_PKEY> held;
    const uint32_t error = readKeyOf(existing, held);
    if (error == 0) {
        return 0;
    }
    const std::string base = existing.file.substr(0, existing.file.size() - endingLength);
    if (error != windowsNoKeyProperty || existing.file != base + ".pem") {
        return windowsExists; // with a key that does not serve
    }
    writeKey(base + ".key", key);
    return 0;
}

/** Writes the files of a certificate that is new to the store, the key first, so that no search finds it without. */
void writeNew(OpenFolder& folder, const std::string& name, const BundleParts& parts) {
    std::string file = name + ".pem";
    folder.files.reserve(folder.files.size() + 1);
    const std::string path = folder.path + '/' + name;
    writeKey(path + ".key", parts.key.get());
    Provisional key(path + ".key");
    writeCertificates(path + ".pem", parts);
    key.keep();
    folder.files.push_back(std::move(file)); // at the end, so that a search under way goes on as it was
}

uint32_t take(SoftwareCertStore& platform, CertStoreHandle store, const BundleParts& parts, CertContext& context) {
    unsigned char sha1[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (X509_digest(parts.certificate.get(), EVP_sha1(), sha1, &length) != 1) {
        return windowsProviderFailed;
    }
    if (const ContextPtr existing = owned(platform, platform.findByHash(store, sha1, nullptr))) {
        if (const uint32_t error = complete(*existing, parts.key.get())) {
            return error;
        }
    } else {
        const std::string name = CmnApi::binToHex({reinterpret_cast<const char*>(sha1), size_t{length}});
        writeNew(openFolder(store), name, parts);
    }
    context = platform.findByHash(store, sha1, nullptr);
    return context != nullptr ? 0 : windowsNotFound; // somebody else has removed it
}

} // namespace

uint32_t SoftwareCertStore::createContext(const unsigned char* der, size_t length, CertContext& context) {
    constexpr const char* function = "SoftwareCertStore::createContext";
    const ossl::ErrorScope errors;
    return withoutThrowing(function, windowsNotEnoughMemory, [&] {
        CmnApi::initOpenssl();
        const unsigned char* position = der;
        OpenSslPtr<X509> certificate(length <= LONG_MAX ? d2i_X509(nullptr, &position, static_cast<long>(length))
                                                        : nullptr);
        if (!certificate || position != der + length) {
            return windowsMalformedEncoding;
        }
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks): the caller releases it
        std::unique_ptr<SoftwareContext> made = makeContext(std::move(certificate));
        context = made.release();
        return context != nullptr ? 0 : windowsNotEnoughMemory;
    });
}

uint32_t SoftwareCertStore::removeFromStore(CertContext context) {
    constexpr const char* function = "SoftwareCertStore::removeFromStore";
    const auto remove = [&] {
        const SoftwareContext& own = *softwareContext(context);
        if (own.file.empty()) {
            return windowsInvalidParameter;
        }
        const std::unique_ptr<SoftwareContext> present = own.readOnly ? nullptr : readCertificateFile(own.file);
        if (!own.readOnly && (!present || X509_cmp(present->certificate.get(), own.certificate.get()) != 0)) {
            return windowsNotFound; // it went meanwhile, or another one took its place
        }
        if (own.readOnly || removeFile(own.file) != 0) {
            return windowsAccessDenied;
        }
        const bool apart = !own.keyFile.empty() && own.keyFile != own.file;
        if (apart && removeFile(own.keyFile) != 0) {
            logFailureOf(function, {"The private key in [", own.keyFile, "] cannot be removed"});
            return windowsAccessDenied;
        }
        return uint32_t{0};
    };
    const ossl::ErrorScope errors;
    const uint32_t error = withoutThrowing(function, windowsNotEnoughMemory, remove);
    release(context);
    return error;
}

uint32_t SoftwareCertStore::importBundle(CertStoreHandle store, const unsigned char* der, size_t length,
                                         const std::string& password, bool /*exportable*/, CertContext& context) {
    const ossl::ErrorScope errors;
    return withoutThrowing(importTag, windowsNotEnoughMemory, [&] {
        BundleParts parts;
        const uint32_t error = unpack(der, length, password, parts);
        if (error != 0 || openFolder(store).readOnly) {
            return error != 0 ? error : windowsAccessDenied;
        }
        try {
            return take(*this, store, parts, context);
        } catch (const CmnException& failure) { // logged
            return failure.getErrorCode() == codeAllocationFailed ? windowsNotEnoughMemory : windowsAccessDenied;
        }
    });
}

uint32_t SoftwareCertStore::exportBundle(CertContext context, const std::string& /*password*/,
                                         std::vector<unsigned char>& /*der*/) {
    const ossl::ErrorScope errors;
    OpenSslPtr<EVP_PKEY> key;
    const uint32_t error = readKeyOf(*softwareContext(context), key);
    return error != 0 ? error : windowsKeyStays;
}

} // namespace CmnCrypto::WinCertStore
