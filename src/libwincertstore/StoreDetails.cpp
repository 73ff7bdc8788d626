// What there is to know about a store certificate.

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/WinCertStoreHelper.h"
#include "cmncrypto/X509Certificate.h"
#include "libwincertstore/StoreLog.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto::WinCertStore {

namespace {

constexpr const char* detailsTag = "WinCertStoreHelper::GetDetails";

/** In the order of RFC 5280, 4.2.1.3. */
struct KeyUsageName {
    uint32_t bit;
    const char* name;
};
constexpr std::array<KeyUsageName, 9> keyUsageNames = {{{KU_DIGITAL_SIGNATURE, "digitalSignature"},
                                                        {KU_NON_REPUDIATION, "nonRepudiation"},
                                                        {KU_KEY_ENCIPHERMENT, "keyEncipherment"},
                                                        {KU_DATA_ENCIPHERMENT, "dataEncipherment"},
                                                        {KU_KEY_AGREEMENT, "keyAgreement"},
                                                        {KU_KEY_CERT_SIGN, "keyCertSign"},
                                                        {KU_CRL_SIGN, "cRLSign"},
                                                        {KU_ENCIPHER_ONLY, "encipherOnly"},
                                                        {KU_DECIPHER_ONLY, "decipherOnly"}}};

std::vector<std::string> keyUsagesOf(X509* certificate) {
    std::vector<std::string> names;
    const uint32_t bits = X509_get_key_usage(certificate);
    for (const KeyUsageName& usage : keyUsageNames) {
        if (bits != UINT32_MAX && (bits & usage.bit) != 0) {
            names.emplace_back(usage.name);
        }
    }
    return names;
}

/** @return the short name of an object, its number where it has none */
std::string nameOf(const ASN1_OBJECT* object) {
    const int nid = OBJ_obj2nid(object);
    char text[256];
    if (nid != NID_undef) {
        return OBJ_nid2sn(nid);
    }
    return OBJ_obj2txt(text, sizeof text, object, 1) > 0 ? text : "";
}

std::vector<std::string> extendedKeyUsagesOf(const X509* certificate) {
    const OpenSslPtr<STACK_OF(ASN1_OBJECT)> usages(
        static_cast<STACK_OF(ASN1_OBJECT)*>(X509_get_ext_d2i(certificate, NID_ext_key_usage, nullptr, nullptr)));
    const int count = usages ? sk_ASN1_OBJECT_num(usages.get()) : 0;
    std::vector<std::string> names;
    names.reserve(static_cast<size_t>(count));
    for (int index = 0; index < count; ++index) {
        names.push_back(nameOf(sk_ASN1_OBJECT_value(usages.get(), index)));
    }
    return names;
}

std::string printed(GENERAL_NAME* name) {
    const OpenSslPtr<BIO> out(BIO_new(BIO_s_mem()));
    if (!out || GENERAL_NAME_print(out.get(), name) != 1) {
        return "unreadable";
    }
    char* data = nullptr;
    const long length = BIO_get_mem_data(out.get(), &data);
    return {data, static_cast<size_t>(length)};
}

std::vector<std::string> alternativeNamesOf(const X509* certificate) {
    const OpenSslPtr<GENERAL_NAMES> entries(
        static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
    const int count = entries ? sk_GENERAL_NAME_num(entries.get()) : 0;
    std::vector<std::string> names;
    names.reserve(static_cast<size_t>(count));
    for (int index = 0; index < count; ++index) {
        names.push_back(printed(sk_GENERAL_NAME_value(entries.get(), index)));
    }
    return names;
}

void readKey(const X509* certificate, WinCertStoreDetails& details) {
    ASN1_OBJECT* algorithm = nullptr;
    X509_PUBKEY_get0_param(&algorithm, nullptr, nullptr, nullptr, X509_get_X509_PUBKEY(certificate));
    const EVP_PKEY* const key = X509_get0_pubkey(certificate);
    const char* const name = key != nullptr ? EVP_PKEY_get0_type_name(key) : nullptr;
    details.keyAlgorithm = name != nullptr ? name : nameOf(algorithm);
    details.keyBits = key != nullptr ? EVP_PKEY_get_bits(key) : 0;
}

std::string digestOf(const X509* certificate, const EVP_MD* algorithm) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    return X509_digest(certificate, algorithm, digest, &length) == 1
               ? CmnApi::binToHex({reinterpret_cast<const char*>(digest), length})
               : "";
}

/** What CryptoAPI calls the kind of a key: 1 and 2 are its own numbers, any other is CNG's. */
StoreKeyKind keyKindOf(const WinCertStoreCertificate& certificate) {
    constexpr uint32_t lastLegacy = 2;
    uint32_t keySpec = 0;
    uint32_t length = sizeof keySpec;
    if (certificate.GetPlatform()->property(certificate.GetContext(), certKeySpecProperty, &keySpec, length) != 0) {
        return STORE_KEY_NONE;
    }
    return keySpec != 0 && keySpec <= lastLegacy ? STORE_KEY_LEGACY : STORE_KEY_CNG;
}

std::string dateText(int64_t seconds) {
    const OpenSslPtr<ASN1_TIME> time(ASN1_TIME_set(nullptr, static_cast<time_t>(seconds)));
    const OpenSslPtr<BIO> out(BIO_new(BIO_s_mem()));
    if (!time || !out || ASN1_TIME_print(out.get(), time.get()) != 1) {
        return "unreadable";
    }
    char* data = nullptr;
    const long length = BIO_get_mem_data(out.get(), &data);
    return {data, static_cast<size_t>(length)};
}

/** @return the bytes of a control character in UTF-8, those that turn the direction of writing included; 0 for another
 *          character */
size_t controlLength(std::string_view text) {
    const auto byte = [text](size_t index) {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0U;
    };
    if (byte(0) < 0x20 || byte(0) == 0x7F) {
        return 1;
    }
    if (byte(0) == 0xC2 && byte(1) >= 0x80 && byte(1) <= 0x9F) {
        return 2; // U+0080 to U+009F
    }
    const bool turns = (byte(1) == 0x80 && byte(2) >= 0xAA && byte(2) <= 0xAE) || // U+202A to U+202E
                       (byte(1) == 0x81 && byte(2) >= 0xA6 && byte(2) <= 0xA9);   // U+2066 to U+2069
    return byte(0) == 0xE2 && turns ? 3 : 0;
}

void addLine(std::string& text, const char* label, std::string_view value) {
    text.append(label).append(": ");
    while (!value.empty()) {
        const size_t length = controlLength(value);
        text += length > 0 ? '.' : value.front();
        value.remove_prefix(std::max(length, size_t{1}));
    }
    text += '\n';
}

void addLines(std::string& text, const char* label, const std::vector<std::string>& values) {
    for (const std::string& value : values) {
        addLine(text, label, value);
    }
}

std::string textOf(const WinCertStoreDetails& details) {
    constexpr std::array<const char*, 3> kinds = {"none", "CNG", "CryptoAPI"};
    std::string text;
    addLine(text, "Subject", details.subject);
    addLine(text, "Issuer", details.issuer);
    addLine(text, "Serial number", details.serialNumber);
    addLine(text, "Valid from", dateText(details.notBefore));
    addLine(text, "Valid until", dateText(details.notAfter));
    addLine(text, "SHA-1 fingerprint", details.sha1);
    addLine(text, "SHA-256 fingerprint", details.sha256);
    addLine(text, "Public key", details.keyAlgorithm + ", " + std::to_string(details.keyBits) + " bits");
    addLines(text, "Key usage", details.keyUsages);
    addLines(text, "Extended key usage", details.extendedKeyUsages);
    addLines(text, "Alternative name", details.subjectAltNames);
    addLine(text, "Private key", kinds.at(static_cast<size_t>(details.privateKey)));
    return text;
}

WinCertStoreDetails detailsOf(const WinCertStoreCertificate& certificate, X509* decoded) {
    WinCertStoreDetails details;
    certificate.GetSubjectName(details.subject);
    certificate.GetIssuerName(details.issuer);
    details.serialNumber = X509Certificate(decoded, false).getSerialNumber();
    details.sha1 = digestOf(decoded, EVP_sha1());
    details.sha256 = digestOf(decoded, EVP_sha256());
    details.notBefore = certificate.GetStartDate();
    details.notAfter = certificate.GetEndDate();
    readKey(decoded, details);
    details.keyUsages = keyUsagesOf(decoded);
    details.extendedKeyUsages = extendedKeyUsagesOf(decoded);
    details.subjectAltNames = alternativeNamesOf(decoded);
    details.privateKey = keyKindOf(certificate);
    details.text = textOf(details);
    return details;
}

} // namespace

WinCertStoreError WinCertStoreHelper::GetDetails(const WinCertStoreCertificate& certificate,
                                                 WinCertStoreDetails& details) noexcept {
    return withoutThrowing(detailsTag, WIN_CERT_STORE_NO_MEMORY, [&] {
        if (certificate.GetContext() == nullptr) {
            logFailureOf(detailsTag, {"There is no certificate."});
            return WIN_CERT_STORE_NOT_FOUND;
        }
        CmnApi::initOpenssl();
        const ossl::ErrorScope errors;
        const OpenSslPtr<X509> decoded(certificate.GetX509());
        if (!decoded) {
            return WIN_CERT_STORE_EXPORT_FAILED; // logged
        }
        details = detailsOf(certificate, decoded.get());
        return WIN_CERT_STORE_OK;
    });
}

} // namespace CmnCrypto::WinCertStore
