#include "cmncrypto/SoftwareCertStore.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "cmncrypto/CmnApi.h"
#include "frame/AsciiCase.h"
#include "frame/FileSystem.h"
#include "libwincertstore/HostName.h"
#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/software/Folder.h"
#include "libwincertstore/software/NameString.h"
#include "libwincertstore/software/OpenFolder.h"
#include "libwincertstore/software/SoftwareContext.h"
#include "libwincertstore/software/SoftwareSigning.h"
#include "ossl/ErrorQueue.h"
#include "x509/NewFile.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr int sha1Bytes = 20;

/** Lists a folder. @return ERROR_ACCESS_DENIED for one that is there but cannot be read */
uint32_t list(const std::string& folder, std::vector<std::string>& names) {
    errno = 0;
    names = namesIn(folder);
    return errno == 0 || errno == ENOENT || errno == ENOTDIR ? 0 : windowsAccessDenied;
}

uint32_t openFiles(const std::string& folder, bool readOnly, CertStoreHandle& store) {
    auto made = std::make_unique<OpenFolder>();
    made->path = folder;
    made->readOnly = readOnly;
    std::vector<std::string>& names = made->files;
    if (const uint32_t error = list(folder, names)) {
        return error;
    }
    names.erase(std::remove_if(names.begin(), names.end(), [](const auto& name) { return !isCertificateFile(name); }),
                names.end());
    store = made.release(); // closeStore() deletes it
    return 0;
}

/**
 * @param skips whether a file, by its path, need not even be read
 * @return the next certificate of a store behind @p previous, which is released, that @p matches takes; null at the end
 * @throws std::bad_alloc: a certificate must not be passed over because memory is short
 */
template <class Skips, class Matches>
CertContext nextOf(CertStorePlatform& platform, CertStoreHandle store, CertContext previous, const Skips& skips,
                   const Matches& matches) {
    size_t position = previous != nullptr ? softwareContext(previous)->position + 1 : 0;
    platform.release(previous);
    const OpenFolder& folder = openFolder(store);
    for (; position < folder.files.size(); ++position) {
        const std::string path = folder.path + '/' + folder.files[position];
        std::unique_ptr<SoftwareContext> context = skips(path) ? nullptr : readCertificateFile(path);
        if (context && matches(*context)) {
            context->position = position;
            context->readOnly = folder.readOnly;
            context->keyIsOlder = folder.olderKeys.count(folder.files[position]) != 0;
            return context.release();
        }
    }
    return nullptr;
}

bool sha1Of(const SoftwareContext& context, unsigned char* sha1) {
    unsigned int length = 0;
    return X509_digest(context.certificate.get(), EVP_sha1(), sha1, &length) == 1 && length == sha1Bytes;
}

/** @throws SearchFailure: a certificate that cannot be compared may be the one */
std::string neededSha1Of(const SoftwareContext& context) {
    const ossl::ErrorScope errors;
    unsigned char own[EVP_MAX_MD_SIZE];
    if (!sha1Of(context, own)) {
        const std::string reason = drainSslErrors();
        logFailureOf("SoftwareCertStore::findByHash", {"There is no SHA-1 digest of [", context.file, "]: ", reason});
        throw SearchFailure();
    }
    return {own, own + sha1Bytes};
}

/** Writes the file of a certificate. @return CRYPT_E_EXISTS when another process has just written it */
uint32_t writeFile(const char* function, OpenFolder& folder, const std::string& base, const X509* certificate) {
    const std::string name = base + ".pem";
    const std::string path = folder.path + '/' + name;
    const bool keyIsOlder = pathExists(folder.path + '/' + base + ".key");
    uint32_t result = 0;
    try {
        NewFile file(function, path, codeNameTaken);
        file.write(certificate);
        file.finish();
    } catch (const CmnException& failure) {
        if (failure.getErrorCode() != codeNameTaken || !holdsCertificate(path, certificate)) {
            throw;
        }
        result = windowsExists;
    }
    if (result == 0 && keyIsOlder) {
        folder.olderKeys.insert(name);
    }
    folder.note(name);
    return result;
}

} // namespace

SoftwareCertStore::SoftwareCertStore(const std::string& rootDirectory)
    : m_root(rootDirectory), m_signing(std::make_unique<SoftwareSigning>()) {}

SoftwareCertStore::~SoftwareCertStore() = default;

std::vector<std::string> SoftwareCertStore::storeNames() const {
    if (m_root.empty()) {
        return {};
    }
    std::vector<std::string> names = namesIn(m_root);
    const auto isNoStore = [this](const std::string& name) {
        return kindOfEntry(m_root + '/' + name) != EntryKind::folder;
    };
    names.erase(std::remove_if(names.begin(), names.end(), isNoStore), names.end());
    return names;
}

uint32_t SoftwareCertStore::openStore(const std::string& name, bool readOnly, CertStoreHandle& store) {
    return withoutThrowing("SoftwareCertStore::openStore", windowsNotEnoughMemory, [&] {
        CmnApi::initOpenssl();
        for (const std::string& candidate : storeNames()) {
            if (upperCased(candidate) == upperCased(name)) {
                return openFiles(m_root + '/' + candidate, readOnly, store);
            }
        }
        std::vector<std::string> stores;
        const uint32_t error = list(m_root, stores);
        return error != 0 ? error : windowsFileNotFound;
    });
}

void SoftwareCertStore::closeStore(CertStoreHandle store) {
    delete static_cast<OpenFolder*>(store);
}

CertContext SoftwareCertStore::findBySubject(CertStoreHandle store, const std::string& text, CertContext previous) {
    const auto skipsNone = [](const std::string&) { return false; };
    return nextOf(*this, store, previous, skipsNone, [&](const SoftwareContext& context) {
        const std::string subject = nameString(X509_get_subject_name(context.certificate.get()));
        return upperCased(subject).find(upperCased(text)) != std::string::npos;
    });
}

CertContext SoftwareCertStore::findByHash(CertStoreHandle store, const unsigned char* sha1, CertContext previous) {
    const std::string wanted(sha1, sha1 + sha1Bytes);
    DigestCache& digests = openFolder(store).digests;
    return nextOf(
        *this, store, previous, [&](const std::string& path) { return digests.excludes(path, wanted); },
        [&](const SoftwareContext& context) {
            const std::string own = neededSha1Of(context);
            digests.learn(context.file, own);
            return own == wanted;
        });
}

uint32_t SoftwareCertStore::addToStore(CertStoreHandle store, CertContext context, uint32_t disposition) {
    constexpr const char* function = "SoftwareCertStore::addToStore";
    if (disposition < addNew || disposition > addNewerInheritProperties) {
        return windowsInvalidParameter;
    }
    unsigned char sha1[EVP_MAX_MD_SIZE];
    if (openFolder(store).readOnly) {
        return windowsAccessDenied;
    }
    if (!sha1Of(*softwareContext(context), sha1)) {
        return windowsProviderFailed;
    }
    try {
        uint32_t error = windowsExists;
        if (const CertContext existing = findByHash(store, sha1, nullptr)) {
            release(existing);
        } else {
            const std::string name = CmnApi::binToHex({reinterpret_cast<const char*>(sha1), size_t{sha1Bytes}});
            error = writeFile(function, openFolder(store), name, softwareContext(context)->certificate.get());
        }
        const bool refusesSame = disposition >= addNewer || disposition == addNew;
        return error == windowsExists && !refusesSame ? 0 : error; // replacing it by its like would lose its key
    } catch (const CmnException& failure) {
        return errorOfFile(failure);
    } catch (const std::bad_alloc&) {
        return windowsNotEnoughMemory;
    }
}

CertContext SoftwareCertStore::duplicate(CertContext context) {
    softwareContext(context)->count.fetch_add(1, std::memory_order_relaxed);
    return context;
}

void SoftwareCertStore::release(CertContext context) {
    if (context != nullptr && softwareContext(context)->count.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete softwareContext(context);
    }
}

uint32_t SoftwareCertStore::acquireKey(CertContext context, StoreKey& key) {
    return withoutThrowing("SoftwareCertStore::acquireKey", windowsNotEnoughMemory, [&] {
        OpenSslPtr<EVP_PKEY> read;
        const uint32_t error = readKeyOf(*softwareContext(context), read);
        if (error == 0) {
            key = {m_signing->keep(std::move(read)), ncryptKeySpec, true};
        }
        return error;
    });
}

SigningBackEnd& SoftwareCertStore::signing() {
    return *m_signing;
}

uint32_t SoftwareCertStore::computerName(HostnameType type, char* buffer, uint32_t size) {
    return withoutThrowing("SoftwareCertStore::computerName", windowsNotEnoughMemory, [&] {
        const std::string name = hostName(type);
        if (name.empty()) {
            return windowsFileNotFound;
        }
        if (name.size() >= size) {
            return windowsBufferOverflow;
        }
        buffer[name.copy(buffer, size)] = '\0';
        return uint32_t{0};
    });
}

} // namespace CmnCrypto::WinCertStore
