#include "libwincertstore/software/SoftwareContext.h"

#include <string_view>

#include "cmncrypto/X509Certificate.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"
#include "x509/FileContents.h"
#include "x509/PathExists.h"
#include "x509/PrivateKeyPem.h"

namespace CmnCrypto::WinCertStore {

namespace {

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

void readPem(const std::string& path, BIO* text, SoftwareContext& context) {
    constexpr std::string_view keyArmour = "PRIVATE KEY-----";
    const bool holdsKey = bytesOf(text).find(keyArmour) != std::string_view::npos;
    context.certificate.reset(PEM_read_bio_X509_AUX(text, nullptr, refusePassPhrase, nullptr));
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

} // namespace

bool isCertificateFile(const std::string& name) {
    return name.front() != '.' && (endsWith(name, pemEnding) || endsWith(name, bundleEnding));
}

std::unique_ptr<SoftwareContext> readCertificateFile(const std::string& path) {
    const ossl::ErrorScope errors;
    FileContents contents;
    auto context = std::make_unique<SoftwareContext>();
    if (contents.read(path) == 0) {
        if (const OpenSslPtr<BIO> bytes = contents.view()) {
            if (endsWith(path, bundleEnding)) {
                readBundle(bytes.get(), *context);
            } else {
                readPem(path, bytes.get(), *context);
            }
        }
    }
    if (!encode(*context)) {
        const std::string reason = drainSslErrors();
        clogmsg(logWarning, "SoftwareCertStore", "No certificate can be read from [%s]: %s", path.c_str(),
                reason.c_str());
        return nullptr;
    }
    return context;
}

OpenSslPtr<EVP_PKEY> readKeyOf(const SoftwareContext& context) {
    if (context.bundleKey) {
        EVP_PKEY_up_ref(context.bundleKey.get());
        return OpenSslPtr<EVP_PKEY>(context.bundleKey.get());
    }
    const ossl::ErrorScope errors;
    FileContents contents;
    if (contents.read(context.keyFile) != 0) {
        return nullptr;
    }
    const OpenSslPtr<BIO> text = contents.view();
    PassPhrase none(nullptr, nullptr);
    return text
               ? readPrivateKeyPem(text.get(), none,
                                   [](const char* message) { clogmsg(logWarning, "SoftwareCertStore", "%s", message); })
                     .key
               : nullptr;
}

} // namespace CmnCrypto::WinCertStore
