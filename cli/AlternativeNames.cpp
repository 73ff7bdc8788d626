#include "AlternativeNames.h"

#include <array>

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include "OpenSslOwner.h"
#include "ReadableName.h"
#include "cmncrypto/CmnApi.h"

namespace CmnCrypto::Cli {

namespace {

/** More than this many names make a list that nobody reads. */
constexpr size_t namesShown = 20;

using OwnedNames = Owned<GENERAL_NAMES, GENERAL_NAMES_free>;

std::string addressText(const ASN1_OCTET_STRING* address) {
    const unsigned char* octets = ASN1_STRING_get0_data(address);
    if (ASN1_STRING_length(address) == 16) {
        return "IP:" + CmnApi::IPV6_to_string(octets);
    }
    if (ASN1_STRING_length(address) != 4) {
        return "malformed:IP address of " + std::to_string(ASN1_STRING_length(address)) + " bytes";
    }
    std::string text = "IP:" + std::to_string(octets[0]);
    for (size_t i = 1; i < 4; ++i) {
        text += "." + std::to_string(octets[i]);
    }
    return text;
}

std::string identifierText(const ASN1_OBJECT* identifier) {
    std::array<char, 128> text = {};
    return OBJ_obj2txt(text.data(), text.size(), identifier, 1) > 0 ? text.data() : "unreadable";
}

/** Names of other systems: most hold a text, Windows logon names for example. */
std::string otherText(const OTHERNAME& name) {
    const int type = name.value->type;
    const bool text = type == V_ASN1_UTF8STRING || type == V_ASN1_IA5STRING || type == V_ASN1_PRINTABLESTRING;
    return "other:" + identifierText(name.type_id) +
           (text ? ":" + CmnApi::ASN1_STRING_to_string(name.value->value.asn1_string) : "");
}

} // namespace

std::string generalNameText(const GENERAL_NAME& name) {
    switch (name.type) {
    case GEN_DNS:
        return "DNS:" + CmnApi::ASN1_STRING_to_string(name.d.dNSName);
    case GEN_EMAIL:
        return "email:" + CmnApi::ASN1_STRING_to_string(name.d.rfc822Name);
    case GEN_URI:
        return "URI:" + CmnApi::ASN1_STRING_to_string(name.d.uniformResourceIdentifier);
    case GEN_IPADD:
        return addressText(name.d.iPAddress);
    case GEN_DIRNAME:
        return "directory:" + readableName(name.d.directoryName);
    case GEN_RID:
        return "identifier:" + identifierText(name.d.registeredID);
    case GEN_OTHERNAME:
        return otherText(*name.d.otherName);
    case GEN_X400:
        return "X.400 address";
    default:
        return "EDI party name";
    }
}

std::vector<std::string> alternativeNames(const STACK_OF(X509_EXTENSION)* extensions) {
    std::vector<std::string> result;
    // One after the other: a certificate with two of these extensions would seem to have none.
    for (int at = X509v3_get_ext_by_NID(extensions, NID_subject_alt_name, -1); at >= 0;
         at = X509v3_get_ext_by_NID(extensions, NID_subject_alt_name, at)) {
        const OwnedNames names(static_cast<GENERAL_NAMES*>(X509V3_EXT_d2i(X509v3_get_ext(extensions, at))));
        if (!names) {
            ERR_clear_error();
            result.emplace_back("malformed:extension");
            continue;
        }
        for (int i = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
            result.push_back(generalNameText(*sk_GENERAL_NAME_value(names.get(), i)));
        }
    }
    return result;
}

std::vector<std::string> shortened(const std::vector<std::string>& names) {
    if (names.size() <= namesShown + 1) {
        return names;
    }
    std::vector<std::string> result(names.begin(), names.begin() + namesShown);
    result.push_back("... and " + std::to_string(names.size() - namesShown) + " more (--json lists all)");
    return result;
}

} // namespace CmnCrypto::Cli
