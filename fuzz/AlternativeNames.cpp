// A certificate with the input as its alternative names, its key identifiers and its issuer.

#include "Harness.h"

void fuzz::tryOut(const std::string& input) {
    const auto x509 =
        certificateWith({NID_subject_alt_name, NID_subject_key_identifier, NID_authority_key_identifier}, input);
    const unsigned char* data = bytesOf(input);
    const OpenSslPtr<X509_NAME> issuer(d2i_X509_NAME(nullptr, &data, static_cast<long>(input.size())));
    X509_set_issuer_name(x509.get(), issuer ? issuer.get() : X509_get_subject_name(x509.get()));
    data = bytesOf(input);
    const OpenSslPtr<GENERAL_NAMES> names(d2i_GENERAL_NAMES(nullptr, &data, static_cast<long>(input.size())));
    noteSslError();

    const X509Certificate certificate(x509.get(), false);
    std::vector<std::string> found;
    succeeds([&] { found = certificate.getSubjectAltNames(); });
    size_t at = 0;
    for (int i = 0, type = 0; i < sk_GENERAL_NAME_num(names.get()); ++i) {
        const GENERAL_NAME* name = sk_GENERAL_NAME_value(names.get(), i);
        const auto* value = static_cast<const ASN1_STRING*>(GENERAL_NAME_get0_value(name, &type));
        const bool isText = type == GEN_EMAIL || type == GEN_DNS || type == GEN_URI;
        if (isText || (type == GEN_IPADD && (value->length == 4 || value->length == 16))) {
            require(at < found.size(), "as many names as OpenSSL reads");
            const OpenSslPtr<ASN1_STRING> address(isText ? nullptr : a2i_IPADDRESS(found[at].c_str()));
            const std::string text = isText ? found[at] : textOf(address->data, address->length);
            require(text == textOf(value->data, value->length), "the same name");
            ++at;
        }
    }
    require(at == found.size(), "no more names than OpenSSL reads");
    succeeds([&] { certificate.getSubjectKeyIdentifier() + certificate.getAuthorityKeyIdentifier(); });
    succeeds([&] {
        const X509Name name = certificate.getIssuer();
        for (const auto format : {NAME_FORMAT_LEGACY_ONELINE, NAME_FORMAT_ONELINE, NAME_FORMAT_RFC2253}) {
            require(!name.getNameDN(format).empty() || !name.validate(), "a name has a text");
        }
        require(X509Name(name) == name && name.isMatching(name, true) == !name.getOUName().empty(), "equal to itself");
        require(name.getCommonName() == name.getField(NAME_FIELD_CN) && name.getHash() != 0, "name and hash");
    });
}
