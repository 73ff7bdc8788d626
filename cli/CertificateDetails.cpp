#include "CertificateDetails.h"

#include <array>
#include <bitset>
#include <vector>

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include "AlternativeNames.h"
#include "CertificateDate.h"
#include "KeyDescription.h"
#include "OpenSslOwner.h"
#include "ReadableName.h"
#include "SignatureAlgorithm.h"
#include "cmncrypto/CmnException.h"

namespace CmnCrypto::Cli {

namespace {

/** By bit as X509_get_key_usage() counts them, in the order of RFC 5280, 4.2.1.3. */
struct KeyUsage {
    uint32_t bit;
    const char* name;
};
constexpr std::array<KeyUsage, 9> keyUsages = {{{KU_DIGITAL_SIGNATURE, "digitalSignature"},
                                                {KU_NON_REPUDIATION, "nonRepudiation"},
                                                {KU_KEY_ENCIPHERMENT, "keyEncipherment"},
                                                {KU_DATA_ENCIPHERMENT, "dataEncipherment"},
                                                {KU_KEY_AGREEMENT, "keyAgreement"},
                                                {KU_KEY_CERT_SIGN, "keyCertSign"},
                                                {KU_CRL_SIGN, "cRLSign"},
                                                {KU_ENCIPHER_ONLY, "encipherOnly"},
                                                {KU_DECIPHER_ONLY, "decipherOnly"}}};

/** A list on one line, nothing for an empty one. */
Json joined(const std::vector<std::string>& words) {
    std::string line;
    for (const std::string& word : words) {
        line += (line.empty() ? "" : ", ") + word;
    }
    return line.empty() ? Json() : Json(line);
}

Json orNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

void addKey(const X509Certificate& certificate, Details& details) {
    if (const EVP_PKEY* key = X509_get0_pubkey(certificate.getX509()); key != nullptr) {
        KeyDescription(key).addTo(details);
        return;
    }
    ERR_clear_error();
    ASN1_OBJECT* algorithm = nullptr;
    X509_PUBKEY_get0_param(&algorithm, nullptr, nullptr, nullptr, X509_get_X509_PUBKEY(certificate.getX509()));
    details.add("Key", "kind", objectText(algorithm));
    details.add("", "bits", nullptr);
    details.problem("unreadable key: malformed, or of a kind that OpenSSL does not know");
}

std::vector<std::string> extendedKeyUsages(X509* certificate) {
    const Owned<EXTENDED_KEY_USAGE, EXTENDED_KEY_USAGE_free> usages(
        static_cast<EXTENDED_KEY_USAGE*>(X509_get_ext_d2i(certificate, NID_ext_key_usage, nullptr, nullptr)));
    ERR_clear_error();
    std::vector<std::string> names;
    for (int i = 0; usages && i < sk_ASN1_OBJECT_num(usages.get()); ++i) {
        names.push_back(objectText(sk_ASN1_OBJECT_value(usages.get(), i)));
    }
    return names;
}

void addUsages(X509* certificate, Details& details) {
    const bool authority = X509_check_ca(certificate) > 0;
    const long depth = X509_get_pathlen(certificate);
    details.add("", "ca", authority);
    details.add("", "pathLength", depth >= 0 ? Json(depth) : Json());
    details.add("Authority", "",
                !authority  ? "no"
                : depth < 0 ? "yes"
                            : "yes, with at most " + std::to_string(depth) + " authorities below it");
    std::vector<std::string> usages;
    const uint32_t bits = X509_get_key_usage(certificate);
    for (const KeyUsage& usage : keyUsages) {
        if (bits != UINT32_MAX && (bits & usage.bit) != 0) {
            usages.emplace_back(usage.name);
        }
    }
    const std::vector<std::string> extended = extendedKeyUsages(certificate);
    details.add("Key usage", "", joined(usages));
    details.add("", "keyUsage", usages);
    details.add("Extended key usage", "", joined(extended));
    details.add("", "extendedKeyUsage", extended);
    ERR_clear_error();
}

} // namespace

std::string objectText(const ASN1_OBJECT* object) {
    std::array<char, 128> text = {};
    return OBJ_obj2txt(text.data(), text.size(), object, 0) > 0 ? text.data() : "unreadable";
}

void addName(const std::string& label, const std::string& member, const X509Name& name, Details& details) {
    details.add(label, member, readableName(name.getX509Name()), Backslash::keep);
    const std::string text = rfc2253Name(name.getX509Name());
    details.add(text.empty() ? "" : "  RFC 2253", member + "Rfc2253", text, Backslash::keep);
}

void addDates(const X509Certificate& certificate, Details& details) {
    const CertificateDate start(X509_get0_notBefore(certificate.getX509()));
    const CertificateDate end(X509_get0_notAfter(certificate.getX509()));
    const auto line = [](const CertificateDate& date, const std::string& remark) {
        return date.text() + (date.isReadable() ? " (" + remark + ")" : "");
    };
    details.add("Valid from", "", line(start, start.relative()));
    details.add("Valid until", "", line(end, (end.secondsFromNow() < 0 ? "expired " : "") + end.relative()));
    details.add("", "notBefore", orNull(start.iso()));
    details.add("", "notAfter", orNull(end.iso()));
    details.add("", "daysLeft", end.isReadable() ? Json(end.daysFromNow()) : Json());
}

void addSignatureAlgorithm(const X509Certificate& certificate, Details& details) {
    const SignatureAlgorithm algorithm(X509_get0_tbs_sigalg(certificate.getX509()));
    details.add("Signature algorithm", "", algorithm.text);
    details.add("", "signatureAlgorithm", algorithm.name);
}

void addFurtherCertificates(size_t count, Details& details) {
    details.add("", "certificatesInInput", count);
    if (count > 1) {
        details.add("Further certificates", "", std::to_string(count - 1) + " (see chain show)");
    }
}

bool isSelfIssued(const X509Certificate& certificate) {
    return certificate.getIssuer() == certificate.getSubject();
}

std::string validityState(X509Certificate& certificate) {
    try {
        return certificate.isCertExpired() ? "expired" : certificate.isCertValidNow() ? "valid" : "not yet valid";
    } catch (const CmnException&) {
        return "unreadable";
    }
}

void addSummary(const X509Certificate& certificate, Details& details) {
    addName("Subject", "subject", certificate.getSubject(), details);
    addName("Issuer", "issuer", certificate.getIssuer(), details);
    details.add("Version", "version", X509_get_version(certificate.getX509()) + 1);
    details.add("Serial number", "serialNumber", certificate.getSerialNumber());
    addDates(certificate, details);
    addKey(certificate, details);
    addSignatureAlgorithm(certificate, details);
    details.add("SHA-256 fingerprint", "sha256", certificate.generateHash(HASH_ALGO_SHA256));
    details.add("SHA-1 fingerprint", "sha1", certificate.generateHash(HASH_ALGO_SHA1));
}

void addIdentity(const X509Certificate& certificate, Details& details) {
    details.add("Subject", "", readableName(certificate.getSubject().getX509Name()), Backslash::keep);
    details.add("Issuer", "", readableName(certificate.getIssuer().getX509Name()), Backslash::keep);
    addDates(certificate, details);
    addKey(certificate, details);
    details.add("SHA-256 fingerprint", "", certificate.generateHash(HASH_ALGO_SHA256));
}

void addExtensions(X509Certificate& certificate, Details& details) {
    const std::vector<std::string> names = alternativeNames(X509_get0_extensions(certificate.getX509()));
    details.add("Alternative names", "", shortened(names));
    details.add("", "alternativeNames", names);
    addUsages(certificate.getX509(), details);
    details.add("Subject key ID", "subjectKeyId", orNull(certificate.getSubjectKeyIdentifier()));
    details.add("Authority key ID", "authorityKeyId", orNull(certificate.getAuthorityKeyIdentifier()));
    details.add("CRL URLs", "crlUrls", certificate.getHttpURLsFromCertCDPs({}));
}

} // namespace CmnCrypto::Cli
