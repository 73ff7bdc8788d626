// Alternative names and key identifiers of a certificate.

#include <cstdio>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/X509Certificate.h"
#include "frame/Logging.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto {

namespace {

constexpr const char* namesTag = "X509Certificate::getSubjectAltNames";

std::string bytesOf(const ASN1_STRING* value) {
    const auto* data = reinterpret_cast<const char*>(ASN1_STRING_get0_data(value));
    return {data, static_cast<size_t>(ASN1_STRING_length(value))};
}

/** @return an address as text, empty for one of a wrong length */
std::string addressText(const ASN1_OCTET_STRING* address) {
    const unsigned char* octets = ASN1_STRING_get0_data(address);
    switch (ASN1_STRING_length(address)) {
    case 4: {
        char text[16];
        std::snprintf(text, sizeof text, "%d.%d.%d.%d", octets[0], octets[1], octets[2], octets[3]);
        return text;
    }
    case 16:
        return CmnApi::IPV6_to_string(octets);
    default:
        clogmsg(logWarning, namesTag, "Invalid length for SAN entry of type [%d]", GEN_IPADD);
        return {};
    }
}

void appendName(const GENERAL_NAME& name, std::vector<std::string>& names) {
    clogmsg(logInfo, namesTag, "SAN entry type :: [%d]", name.type);
    std::string text;
    switch (name.type) {
    case GEN_EMAIL:
    case GEN_DNS:
    case GEN_URI:
        text = bytesOf(name.d.ia5);
        break;
    case GEN_IPADD:
        text = addressText(name.d.iPAddress);
        if (text.empty()) {
            return;
        }
        break;
    default:
        clogmsg(logWarning, namesTag, "Parsing for [%d] type in the SAN entry in the certificate is not handled.",
                name.type);
        return;
    }
    clogmsg(logInfo, namesTag, "Subject Alternative Name = %s", text.c_str());
    names.push_back(std::move(text));
}

std::string identifierText(const ASN1_OCTET_STRING* identifier) {
    std::string text;
    CmnApi::hexToString(ASN1_STRING_get0_data(identifier), static_cast<unsigned int>(ASN1_STRING_length(identifier)),
                        text);
    return text;
}

} // namespace

std::vector<std::string> X509Certificate::getSubjectAltNames() const {
    const ossl::ErrorScope errors;
    std::vector<std::string> names;
    if (m_certificate == nullptr) {
        clogmsg(logFailure, namesTag,
                "Failed to get subject alternative name from X509 certificate; a NULL argument was passed in");
        return names;
    }
    const OpenSslPtr<GENERAL_NAMES> entries(
        static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(m_certificate, NID_subject_alt_name, nullptr, nullptr)));
    const int count = entries ? sk_GENERAL_NAME_num(entries.get()) : 0;
    clogmsg(logInfo, namesTag, "[%d] Subject Alternative Name entries found in the given certificate", count);
    names.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        const GENERAL_NAME* entry = sk_GENERAL_NAME_value(entries.get(), i);
        if (entry == nullptr) {
            clogmsg(logInfo, namesTag, "Subject Alternative Name entry not found for index:: %d", i);
            continue;
        }
        appendName(*entry, names);
    }
    return names;
}

std::string X509Certificate::getSubjectKeyIdentifier() const {
    const ossl::ErrorScope errors;
    const OpenSslPtr<ASN1_OCTET_STRING> identifier(
        m_certificate == nullptr ? nullptr
                                 : static_cast<ASN1_OCTET_STRING*>(
                                       X509_get_ext_d2i(m_certificate, NID_subject_key_identifier, nullptr, nullptr)));
    if (!identifier) {
        clogmsg(logWarning, "X509Certificate::getSubjectKeyIdentifier",
                "failed to get the Subject Key Identifier from x509 certificate extension");
        return {};
    }
    return identifierText(identifier.get());
}

std::string X509Certificate::getAuthorityKeyIdentifier() const {
    constexpr const char* function = "X509Certificate::getAuthorityKeyIdentifier";
    const ossl::ErrorScope errors;
    const int index =
        m_certificate == nullptr ? -1 : X509_get_ext_by_NID(m_certificate, NID_authority_key_identifier, -1);
    if (index < 0) {
        clogmsg(logWarning, function,
                "failed to get the index for NID_authority_key_identifier from x509 certificate extension");
        return {};
    }
    X509_EXTENSION* const extension = X509_get_ext(m_certificate, index);
    if (extension == nullptr) {
        clogmsg(logWarning, function,
                "failed to get the NID_authority_key_identifier extension from x509 certificate extension");
        return {};
    }
    const OpenSslPtr<AUTHORITY_KEYID> identifier(static_cast<AUTHORITY_KEYID*>(X509V3_EXT_d2i(extension)));
    if (!identifier) {
        clogmsg(logWarning, function, "failed to get the authority key identifier from x509 certificate extension");
        return {};
    }
    if (identifier->keyid == nullptr) {
        clogmsg(logWarning, function,
                "failed to get the authority key identifier extension from x509 certificate extension");
        return {};
    }
    return identifierText(identifier->keyid);
}

} // namespace CmnCrypto
