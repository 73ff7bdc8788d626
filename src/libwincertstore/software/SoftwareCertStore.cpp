#include "cmncrypto/SoftwareCertStore.h"

#include <algorithm>
#include <utility>

#include "cmncrypto/CmnApi.h"
#include "frame/AsciiCase.h"
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

std::vector<std::string> certificateFilesOf(const std::string& folder) {
    std::vector<std::string> names = namesIn(folder);
    names.erase(std::remove_if(names.begin(), names.end(), [](const auto& name) { return !isCertificateFile(name); }),
                names.end());
    return names;
}

/**
 * @return the next certificate of a store behind @p previous, which is released, that @p matches takes; null at the end
 * @throws std::bad_alloc: a certificate must not be passed over because memory is short
 */
template <class Matches>
CertContext nextOf(CertStorePlatform& platform, CertStoreHandle store, CertContext previous, const Matches& matches) {
    size_t position = previous != nullptr ? softwareContext(previous)->position + 1 : 0;
    platform.release(previous);
    const OpenFolder& folder = openFolder(store);
    for (; position < folder.files.size(); ++position) {
        std::unique_ptr<SoftwareContext> context = readCertificateFile(folder.path + '/' + folder.files[position]);
        if (context && matches(*context)) {
            context->position = position;
            context->readOnly = folder.readOnly;
            return context.release();
        }
    }
    return nullptr;
}

bool sha1Of(const SoftwareContext& context, unsigned char* sha1) {
    unsigned int length = 0;
    return X509_digest(context.certificate.get(), EVP_sha1(), sha1, &length) == 1 && length == sha1Bytes;
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
                const std::string path = m_root + '/' + candidate;
                store = new OpenFolder{path, readOnly, certificateFilesOf(path)}; // closeStore() deletes it
                return uint32_t{0};
            }
        }
        return windowsFileNotFound;
    });
}

void SoftwareCertStore::closeStore(CertStoreHandle store) {
    delete static_cast<OpenFolder*>(store);
}

CertContext SoftwareCertStore::findBySubject(CertStoreHandle store, const std::string& text, CertContext previous) {
    return nextOf(*this, store, previous, [&](const SoftwareContext& context) {
        const std::string subject = nameString(X509_get_subject_name(context.certificate.get()));
        return upperCased(subject).find(upperCased(text)) != std::string::npos;
    });
}

CertContext SoftwareCertStore::findByHash(CertStoreHandle store, const unsigned char* sha1, CertContext previous) {
    return nextOf(*this, store, previous, [=](const SoftwareContext& context) {
        unsigned char own[EVP_MAX_MD_SIZE];
        return sha1Of(context, own) && std::equal(own, own + sha1Bytes, sha1);
    });
}

uint32_t SoftwareCertStore::addToStore(CertStoreHandle store, CertContext context, uint32_t disposition) {
    constexpr const char* function = "SoftwareCertStore::addToStore";
    if (disposition < addNew || disposition > addNewerInheritProperties) {
        return windowsInvalidParameter;
    }
    unsigned char sha1[EVP_MAX_MD_SIZE];
    if (openFolder(store).readOnly || !sha1Of(*softwareContext(context), sha1)) {
        return windowsAccessDenied;
    }
    try {
        if (const CertContext existing = findByHash(store, sha1, nullptr)) {
            release(existing);
            const bool wantsNewer = disposition >= addNewer || disposition == addNew;
            return wantsNewer ? windowsExists : 0; // replacing it by its like would lose its key
        }
        OpenFolder& folder = openFolder(store);
        const std::string name = CmnApi::binToHex({reinterpret_cast<const char*>(sha1), size_t{sha1Bytes}}) + ".pem";
        NewFile file(function, folder.path + '/' + name, codeReadFailed);
        file.write(softwareContext(context)->certificate.get());
        file.finish();
        folder.files.push_back(name); // at the end, so that a search under way goes on as it was
        return 0;
    } catch (const CmnException&) {
        return windowsAccessDenied;
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
