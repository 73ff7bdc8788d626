// What the software store takes in and gives away beside adding a certificate.

#include <cerrno>
#include <climits>
#include <memory>
#include <optional>
#include <system_error>
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
#include "x509/FileContents.h"
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
    if (!bundle || position != der + length) {
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

void writeAll(NewFile& file, const BundleParts& parts) {
    file.write(parts.certificate.get());
    for (int index = 0; index < sk_X509_num(parts.further.get()); ++index) {
        file.write(sk_X509_value(parts.further.get(), index));
    }
    file.complete();
}

/** The file of a key, which goes again unless it is kept. One that holds the same key already is taken as it is: an
 *  import that was interrupted, or one that runs at the same time, has written it. */
class KeyFile {
public:
    KeyFile(const std::string& path, const BundleParts& parts) : m_path(path), m_parts(parts) {
        if (!holdsKey(path, parts.certificate.get())) {
            unlessItAppears([&] {
                m_new.emplace(importTag, path, codeNameTaken, NewFileReaders::owner);
                m_new->write(parts.key.get());
                m_new->complete();
            });
        }
    }
    ~KeyFile() {
        if (m_isOurs) {
            removeFile(m_path);
        }
    }
    KeyFile(const KeyFile&) = delete;
    KeyFile& operator=(const KeyFile&) = delete;

    /** Gives it its name. @throws CmnException */
    void finish() {
        if (m_new) {
            unlessItAppears([&] {
                m_new->finish();
                m_isOurs = true;
            });
            m_new.reset();
        }
    }
    void keep() noexcept { m_isOurs = false; }

private:
    template <class Step> void unlessItAppears(const Step& step) {
        try {
            step();
        } catch (const CmnException& failure) {
            if (failure.getErrorCode() != codeNameTaken || !holdsKey(m_path, m_parts.certificate.get())) {
                throw;
            }
        }
    }

    std::string m_path;
    const BundleParts& m_parts;
    std::optional<NewFile> m_new;
    bool m_isOurs = false;
};

/** @return whether a certificate is one of several */
bool isAmong(const STACK_OF(X509)* several, const X509* certificate) {
    for (int index = 0; index < sk_X509_num(several); ++index) {
        if (X509_cmp(sk_X509_value(several, index), certificate) == 0) {
            return true;
        }
    }
    return false;
}

/** Puts the issuers of a bundle behind a certificate in its file, those that are not there. */
void addIssuers(const SoftwareContext& existing, const BundleParts& parts) {
    const OpenSslPtr<STACK_OF(X509)> present = companionsOf(existing);
    std::vector<X509*> missing;
    for (int index = 0; index < sk_X509_num(parts.further.get()); ++index) {
        X509* const one = sk_X509_value(parts.further.get(), index);
        if (!isAmong(present.get(), one)) {
            missing.push_back(one);
        }
    }
    FileContents contents;
    // Who puts links into a store keeps the file elsewhere.
    if (missing.empty() || isLink(existing.file) || contents.read(existing.file) != 0) {
        return;
    }
    const OpenSslPtr<BIO> text = contents.view();
    const unsigned char* data = nullptr;
    const long length = text ? BIO_get_mem_data(text.get(), &data) : 0;
    NewFile file(importTag, existing.file, NewFile::replaces);
    file.write(data, static_cast<size_t>(length));
    if (length == 0 || data[length - 1] != '\n') {
        file.write(reinterpret_cast<const unsigned char*>("\n"), 1);
    }
    for (const X509* const one : missing) {
        file.write(one);
    }
    file.finish();
}

/** Puts the key beside a certificate that is in the store without one, and its issuers behind it. @return a Windows
 *  error number */
uint32_t complete(const SoftwareContext& existing, const BundleParts& parts) {
    OpenSslPtr<EVP_PKEY> held;
    const uint32_t error = readKeyOf(existing, held);
    if (error == 0) {
        return 0;
    }
    const std::string base = existing.file.substr(0, existing.file.size() - endingLength);
    if (error != windowsNoKeyProperty || existing.file != base + ".pem") {
        return windowsExists; // with a key that does not serve
    }
    KeyFile key(base + ".key", parts);
    addIssuers(existing, parts); // first: with its key the certificate is found
    key.finish();
    key.keep();
    return 0;
}

/** Writes the files of a certificate that is new to the store. Both are whole before they get their names, the key
 *  first, so that no search finds the certificate without. */
void writeNew(const std::string& path, const BundleParts& parts) {
    KeyFile key(path + ".key", parts);
    try {
        NewFile certificates(importTag, path + ".pem", codeNameTaken);
        writeAll(certificates, parts);
        key.finish();
        certificates.finish();
    } catch (const CmnException& failure) {
        if (failure.getErrorCode() != codeNameTaken || !holdsCertificate(path + ".pem", parts.certificate.get())) {
            throw;
        }
        key.finish(); // another process has just added the certificate
    }
    key.keep();
}

uint32_t take(SoftwareCertStore& platform, CertStoreHandle store, const BundleParts& parts, CertContext& context) {
    unsigned char sha1[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (X509_digest(parts.certificate.get(), EVP_sha1(), sha1, &length) != 1) {
        return windowsProviderFailed;
    }
    OpenFolder& folder = openFolder(store);
    if (const ContextPtr existing = owned(platform, platform.findByHash(store, sha1, nullptr))) {
        if (const uint32_t error = complete(*existing, parts)) {
            return error;
        }
        folder.olderKeys.erase(existing->file.substr(folder.path.size() + 1));
    } else {
        const std::string name = CmnApi::binToHex({reinterpret_cast<const char*>(sha1), size_t{length}});
        writeNew(folder.path + '/' + name, parts);
        folder.note(name + ".pem");
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
        if (own.readOnly) {
            return windowsAccessDenied;
        }
        // The key first: what is left of a failure can then still be found, and removed.
        const std::string& key = present->keyFile;
        const bool apart = !own.keyIsOlder && !key.empty() && key != own.file;
        for (const std::string& file : {apart ? key : std::string(), own.file}) {
            if (!file.empty() && removeFile(file) != 0 && errno != ENOENT) {
                const std::string reason = std::generic_category().message(errno);
                logFailureOf(function, {"The file [", file, "] cannot be removed: ", reason});
                return windowsAccessDenied;
            }
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
            return errorOfFile(failure);
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
