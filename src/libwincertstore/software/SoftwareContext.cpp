#include "libwincertstore/software/SoftwareContext.h"

#include <cerrno>
#include <string_view>
#include <system_error>
#include <utility>

#include "cmncrypto/X509Certificate.h"
#include "frame/Failure.h"
#include "frame/FileSystem.h"
#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/software/Folder.h"
#include "ossl/ErrorQueue.h"
#include "x509/FileContents.h"
#include "x509/PrivateKeyPem.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* storeTag = "SoftwareCertStore";
constexpr std::string_view pemEnding = ".pem";
constexpr std::string_view bundleEnding = ".p12";

bool endsWith(const std::string& text, std::string_view ending) {
    return text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

std::string_view bytesOf(BIO* memory) {
    const char* data = nullptr;
    const long length = BIO_get_mem_data(memory, &data);
    return {data, static_cast<size_t>(length)};
}

/** Reads a file of a store into memory; not what would keep the reader waiting. @return null when it cannot be read */
OpenSslPtr<BIO> open(const std::string& path, FileContents& contents) {
    return kindOfEntry(path) == EntryKind::file && contents.read(path) == 0 ? contents.view() : nullptr;
}

OpenSslPtr<X509> nextCertificate(BIO* text) {
    return OpenSslPtr<X509>(PEM_read_bio_X509_AUX(text, nullptr, refusePassPhrase, nullptr));
}

void readPem(const std::string& path, BIO* text, SoftwareContext& context) {
    constexpr std::string_view keyArmour = "PRIVATE KEY-----";
    const bool holdsKey = bytesOf(text).find(keyArmour) != std::string_view::npos;
    context.certificate = nextCertificate(text);
    const std::string keyFile = path.substr(0, path.size() - pemEnding.size()) + ".key";
    if (holdsKey) {
        context.keyFile = path;
    } else if (pathExists(keyFile)) {
        context.keyFile = keyFile;
    }
}

void readBundle(BIO* bundle, SoftwareContext& context) {
    const std::string_view bytes = bytesOf(bundle); // at most 64 MiB
    X509* certificate = nullptr;
    EVP_PKEY* key = nullptr;
    try {
        X509Certificate::extractCertFromPKCS12(reinterpret_cast<const unsigned char*>(bytes.data()),
                                               static_cast<int>(bytes.size()), "", &certificate, &key);
    } catch (const CmnException&) {
        return; // both are null
    }
    context.certificate.reset(certificate);
    context.bundleKey.reset(key);
}

/** Keeps the encoded form. @return false when there is no certificate, or memory is short */
bool encode(SoftwareContext& context) {
    unsigned char* der = nullptr;
    const int length = context.certificate ? i2d_X509(context.certificate.get(), &der) : -1;
    context.der.reset(der);
    context.derLength = length > 0 ? static_cast<size_t>(length) : 0;
    return length > 0;
}

OpenSslPtr<EVP_PKEY> readKeyFile(const std::string& path) {
    FileContents contents;
    const OpenSslPtr<BIO> text = open(path, contents);
    PassPhrase none(nullptr, nullptr);
    const auto tell = [](const char* message) { clogmsg(logWarning, storeTag, "%s", message); };
    return text ? readPrivateKeyPem(text.get(), none, tell).key : nullptr;
}

OpenSslPtr<STACK_OF(X509)> companionsOfBundle(BIO* bytes) {
    const OpenSslPtr<PKCS12> bundle(d2i_PKCS12_bio(bytes, nullptr));
    EVP_PKEY* key = nullptr;
    X509* certificate = nullptr;
    STACK_OF(X509)* companions = nullptr;
    PKCS12_parse(bundle.get(), "", &key, &certificate, &companions);
    const OpenSslPtr<EVP_PKEY> keyOwner(key);
    const OpenSslPtr<X509> certificateOwner(certificate);
    return OpenSslPtr<STACK_OF(X509)>(companions);
}

} // namespace

bool isCertificateFile(const std::string& name) {
    return name.front() != '.' && (endsWith(name, pemEnding) || endsWith(name, bundleEnding));
}

std::unique_ptr<SoftwareContext> readCertificateFile(const std::string& path) {
    const ossl::ErrorScope errors;
    FileContents contents;
    auto context = std::make_unique<SoftwareContext>();
    context->file = path;
    if (const OpenSslPtr<BIO> bytes = open(path, contents)) {
        if (endsWith(path, bundleEnding)) {
            readBundle(bytes.get(), *context);
        } else {
            readPem(path, bytes.get(), *context);
        }
    }
    if (!encode(*context)) {
        const std::string reason = drainSslErrors();
        clogmsg(logWarning, storeTag, "No certificate can be read from [%s]: %s", path.c_str(), reason.c_str());
        return nullptr;
    }
    return context;
}

std::unique_ptr<SoftwareContext> makeContext(OpenSslPtr<X509> certificate) {
    auto context = std::make_unique<SoftwareContext>();
    context->certificate = std::move(certificate);
    return encode(*context) ? std::move(context) : nullptr;
}

bool holdsCertificate(const std::string& path, const X509* certificate) {
    const std::unique_ptr<SoftwareContext> found = pathExists(path) ? readCertificateFile(path) : nullptr;
    return found && X509_cmp(found->certificate.get(), certificate) == 0;
}

bool holdsKey(const std::string& path, X509* certificate) {
    SoftwareContext context;
    X509_up_ref(certificate);
    context.certificate.reset(certificate);
    context.keyFile = path;
    OpenSslPtr<EVP_PKEY> key;
    return pathExists(path) && readKeyOf(context, key) == 0;
}

uint32_t readKeyOf(const SoftwareContext& context, OpenSslPtr<EVP_PKEY>& key) {
    const ossl::ErrorScope errors;
    const std::string& file = context.bundleKey ? context.file : context.keyFile;
    if (file.empty()) {
        return windowsNoKeyProperty;
    }
    if (context.bundleKey) {
        EVP_PKEY_up_ref(context.bundleKey.get());
        key.reset(context.bundleKey.get());
    } else {
        errno = 0;
        key = readKeyFile(file);
    }
    if (!key) {
        const int error = errno;
        const bool bySystem = ERR_peek_error() == 0 && error != 0; // no permission, for instance
        const std::string reason = bySystem ? std::generic_category().message(error) : drainSslErrors();
        clogmsg(logWarning, storeTag, "No private key can be read from [%s]: %s", file.c_str(), reason.c_str());
        return windowsKeysetEntryBad;
    }
    if (X509_check_private_key(context.certificate.get(), key.get()) != 1) {
        clogmsg(logWarning, storeTag, "The private key of [%s] is another certificate's", file.c_str());
        return windowsBadPublicKey;
    }
    return 0;
}

OpenSslPtr<STACK_OF(X509)> companionsOf(const SoftwareContext& context) {
    const ossl::ErrorScope errors;
    FileContents contents;
    const OpenSslPtr<BIO> bytes = open(context.file, contents);
    if (!bytes) {
        return nullptr;
    }
    if (endsWith(context.file, bundleEnding)) {
        return companionsOfBundle(bytes.get());
    }
    OpenSslPtr<STACK_OF(X509)> companions(sk_X509_new_null());
    const OpenSslPtr<X509> first = nextCertificate(bytes.get()); // the certificate itself
    while (OpenSslPtr<X509> next = nextCertificate(bytes.get())) {
        if (sk_X509_push(companions.get(), next.get()) < 1) {
            break;
        }
        static_cast<void>(next.release());
    }
    return companions;
}

} // namespace CmnCrypto::WinCertStore
