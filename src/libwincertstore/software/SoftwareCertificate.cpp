// What the software store tells about a certificate.

#include <cstring>
#include <utility>

#include "cmncrypto/SoftwareCertStore.h"
#include "libwincertstore/FileTime.h"
#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/software/NameString.h"
#include "libwincertstore/software/SoftwareContext.h"
#include "ossl/AsnTime.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr int extensionAbsent = -1; ///< as X509_get_ext_d2i() tells it

struct Property {
    unsigned char bytes[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
};

/** @return the error number */
uint32_t readProperty(const SoftwareContext& context, uint32_t id, Property& property) {
    if (id == certSha1HashProperty) {
        return X509_digest(context.certificate.get(), EVP_sha1(), property.bytes, &property.length) == 1
                   ? 0
                   : windowsProviderFailed;
    }
    if (id == certKeySpecProperty) {
        // Only a key that can be used counts: another one would keep selection from a certificate that serves.
        OpenSslPtr<EVP_PKEY> key;
        if (const uint32_t error = readKeyOf(context, key)) {
            return error;
        }
        property.length = sizeof ncryptKeySpec;
        std::memcpy(property.bytes, &ncryptKeySpec, sizeof ncryptKeySpec);
        return 0;
    }
    return windowsNotFound;
}

/** @param unreadable what stands for a date that cannot be read */
uint64_t fileTimeOfDate(const ASN1_TIME* time, uint64_t unreadable) {
    const OpenSslPtr<ASN1_TIME> epoch = asnTime(0);
    const std::optional<TimeDifference> since = timeBetween(epoch.get(), time);
    constexpr int64_t secondsPerDay = 86400;
    return since ? fileTimeOf(int64_t{since->days} * secondsPerDay + since->seconds) : unreadable;
}

std::string dotted(const ASN1_OBJECT* object) {
    char text[256];
    const int length = OBJ_obj2txt(text, sizeof text, object, 1);
    return length > 0 ? text : "";
}

X509* certificateOf(CertContext context) {
    return softwareContext(context)->certificate.get();
}

} // namespace

uint32_t SoftwareCertStore::property(CertContext context, uint32_t id, void* data, uint32_t& length) {
    const ossl::ErrorScope errors;
    Property property;
    const uint32_t error = withoutThrowing("SoftwareCertStore::property", windowsNotEnoughMemory,
                                           [&] { return readProperty(*softwareContext(context), id, property); });
    if (error != 0) {
        return error;
    }
    const uint32_t size = std::exchange(length, property.length);
    if (data == nullptr) {
        return 0;
    }
    if (size < property.length) {
        return windowsMoreData;
    }
    std::memcpy(data, property.bytes, property.length);
    return 0;
}

uint32_t SoftwareCertStore::name(CertContext context, CertName which, std::string& text) {
    const ossl::ErrorScope errors;
    const X509* const certificate = certificateOf(context);
    text =
        nameString(which == CertName::subject ? X509_get_subject_name(certificate) : X509_get_issuer_name(certificate));
    return 0;
}

EncodedCertificate SoftwareCertStore::encoded(CertContext context) {
    return {softwareContext(context)->der.get(), softwareContext(context)->derLength};
}

CertValidity SoftwareCertStore::validity(CertContext context) {
    const ossl::ErrorScope errors;
    const X509* const certificate = certificateOf(context);
    // A date that cannot be read makes the certificate one that is never valid.
    return {fileTimeOfDate(X509_get0_notBefore(certificate), INT64_MAX),
            fileTimeOfDate(X509_get0_notAfter(certificate), 0)};
}

int SoftwareCertStore::verifyTimeValidity(CertContext context, int64_t now) {
    const CertValidity limits = validity(context);
    if (secondsOf(limits.notBefore) > now) {
        return -1;
    }
    return secondsOf(limits.notAfter) < now ? 1 : 0;
}

bool SoftwareCertStore::intendedKeyUsage(CertContext context, unsigned char& bits) {
    const ossl::ErrorScope errors;
    int critical = 0;
    const OpenSslPtr<ASN1_BIT_STRING> usage(
        static_cast<ASN1_BIT_STRING*>(X509_get_ext_d2i(certificateOf(context), NID_key_usage, &critical, nullptr)));
    bits = usage && ASN1_STRING_length(usage.get()) > 0 ? *ASN1_STRING_get0_data(usage.get()) : 0;
    return usage != nullptr || critical != extensionAbsent; // what is there but malformed allows nothing
}

uint32_t SoftwareCertStore::enhancedKeyUsage(CertContext context, EnhancedKeyUsage& usage) {
    const ossl::ErrorScope errors;
    int critical = 0;
    const OpenSslPtr<STACK_OF(ASN1_OBJECT)> list(static_cast<STACK_OF(ASN1_OBJECT)*>(
        X509_get_ext_d2i(certificateOf(context), NID_ext_key_usage, &critical, nullptr)));
    usage = {};
    if (!list) {
        usage.unrestricted = critical == extensionAbsent;
        return usage.unrestricted ? 0 : windowsMalformedEncoding;
    }
    for (int index = 0; index < sk_ASN1_OBJECT_num(list.get()); ++index) {
        usage.usages.push_back(dotted(sk_ASN1_OBJECT_value(list.get(), index)));
    }
    return 0;
}

std::string SoftwareCertStore::publicKeyAlgorithm(CertContext context) {
    ASN1_OBJECT* algorithm = nullptr;
    X509_PUBKEY* const key = X509_get_X509_PUBKEY(certificateOf(context));
    return X509_PUBKEY_get0_param(&algorithm, nullptr, nullptr, nullptr, key) == 1 ? dotted(algorithm) : "";
}

uint32_t SoftwareCertStore::hexToBinary(const std::string& digits, std::vector<unsigned char>& bytes) {
    const ossl::ErrorScope errors;
    bytes.resize(digits.size() / 2);
    size_t length = 0;
    return OPENSSL_hexstr2buf_ex(bytes.data(), bytes.size(), &length, digits.c_str(), '\0') == 1 ? 0
                                                                                                 : windowsInvalidData;
}

namespace {

struct ErrorText {
    uint32_t error;
    const char* text;
};
constexpr ErrorText errorTexts[] = {
    {windowsFileNotFound, "There is no such store."},
    {windowsAccessDenied, "The store cannot be written."},
    {windowsNotEnoughMemory, "Memory is short."},
    {windowsInvalidData, "The bundle cannot be opened, or only by what is not available."},
    {windowsFileExists, "A file of the certificate's name is in the way."},
    {windowsInvalidPassword, "The password is wrong."},
    {windowsBadLength, "The length is wrong."},
    {windowsBadKeyType, "The key is of a kind that does not serve here."},
    {windowsBadPublicKey, "The private key does not belong to the certificate."},
    {windowsKeysetEntryBad, "The private key cannot be read."},
    {windowsProviderFailed, "The cryptographic operation failed."},
    {windowsInvalidHandle, "The handle is not valid."},
    {windowsKeyStays, "The private keys of this store never leave it."},
    {windowsNotFound, "There is no such certificate any more."},
    {windowsExists, "The certificate is there already, with a key that does not serve."},
    {windowsNoKeyProperty, "The certificate has no private key."},
    {windowsRevoked, "A certificate is revoked."},
    {windowsRevocationUnknown, "There is no revocation list that can be relied on."},
    {windowsMalformedEncoding, "The encoding is malformed."},
    {windowsWrongSignature, "A signature is wrong or too weak."},
    {windowsBasicConstraints, "A certificate may not issue others, or not so many levels."},
    {windowsExpired, "A certificate has expired or is not yet valid."},
    {windowsCritical, "A critical extension is not understood."},
    {windowsUntrustedRoot, "The chain ends in a certificate that is not trusted."},
    {windowsChaining, "The issuer of a certificate is not known."},
    {windowsTrustFailed, "The chain is not valid."},
    {windowsWrongHostName, "The certificate is issued for another host."},
    {windowsWrongUsage, "A certificate is not meant for this purpose."},
    {windowsInvalidName, "A name is outside of what an issuer may certify."},
};

} // namespace

std::string SoftwareCertStore::errorText(uint32_t error) {
    for (const ErrorText& candidate : errorTexts) {
        if (candidate.error == error) {
            return candidate.text;
        }
    }
    return "Windows error " + std::to_string(error) + ".";
}

} // namespace CmnCrypto::WinCertStore
