#include "CrlDetails.h"

#include <algorithm>
#include <iterator>
#include <new>
#include <utility>

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include "AlternativeNames.h"
#include "OpenSslOwner.h"
#include "ReadableName.h"
#include "SignatureAlgorithm.h"

namespace CmnCrypto::Cli {

namespace {

/** RFC 5280 allows 20 bytes. Much more takes long to write in decimal, and nobody reads it. */
constexpr int longestNumber = 64;

void releaseText(char* text) {
    OPENSSL_free(text);
}

using OwnedText = Owned<char, releaseText>;

using OwnedPoint = Owned<ISSUING_DIST_POINT, ISSUING_DIST_POINT_free>;

OwnedPoint distributionPoint(const Crl& list) {
    OwnedPoint point(static_cast<ISSUING_DIST_POINT*>(
        X509_CRL_get_ext_d2i(list.getX509Crl(), NID_issuing_distribution_point, nullptr, nullptr)));
    ERR_clear_error();
    return point;
}

Json dateOrNull(const CertificateDate& date, const Json& value) {
    return date.isReadable() ? value : Json();
}

} // namespace

std::string hexadecimal(const ASN1_INTEGER* number) {
    const OwnedBignum value(ASN1_INTEGER_to_BN(number, nullptr));
    const OwnedText text(value ? BN_bn2hex(value.get()) : nullptr);
    if (!text) {
        throw std::bad_alloc();
    }
    return text.get();
}

std::optional<ListNumber> listNumber(const Crl& list, int extension) {
    const OwnedInteger number(
        static_cast<ASN1_INTEGER*>(X509_CRL_get_ext_d2i(list.getX509Crl(), extension, nullptr, nullptr)));
    ERR_clear_error();
    if (!number || ASN1_STRING_length(number.get()) > longestNumber) {
        return std::nullopt;
    }
    const OwnedBignum value(ASN1_INTEGER_to_BN(number.get(), nullptr));
    const OwnedText decimal(value ? BN_bn2dec(value.get()) : nullptr);
    if (!decimal) {
        throw std::bad_alloc();
    }
    return ListNumber{decimal.get(), hexadecimal(number.get())};
}

std::optional<std::vector<std::string>> listScope(const Crl& list) {
    const OwnedPoint point = distributionPoint(list);
    if (!point) {
        return std::nullopt;
    }
    std::vector<std::string> scope;
    if (point->distpoint != nullptr && point->distpoint->type != 0) {
        scope.emplace_back("a name relative to the issuer");
    } else if (point->distpoint != nullptr) {
        const GENERAL_NAMES* const names = point->distpoint->name.fullname;
        for (int i = 0; i < sk_GENERAL_NAME_num(names); ++i) {
            scope.push_back(generalNameText(*sk_GENERAL_NAME_value(names, i)));
        }
    }
    for (const auto& [set, text] :
         {std::pair(point->onlyuser, "only user certificates"), std::pair(point->onlyCA, "only authority certificates"),
          std::pair(point->onlyattr, "only attribute certificates")}) {
        if (set > 0) {
            scope.emplace_back(text);
        }
    }
    for (size_t bit = 0; point->onlysomereasons != nullptr && bit < std::size(crlReasonFlagNames); ++bit) {
        if (ASN1_BIT_STRING_get_bit(point->onlysomereasons, static_cast<int>(bit)) == 1) {
            scope.push_back(std::string("only reason ") + crlReasonFlagNames[bit]);
        }
    }
    return scope;
}

bool hasExtension(const Crl& list, int extension) {
    return X509_CRL_get_ext_by_NID(list.getX509Crl(), extension, -1) >= 0;
}

CertificateDate issueDate(const Crl& list) {
    return CertificateDate(list.getLastUpdate());
}

CertificateDate nextUpdate(const Crl& list) {
    return CertificateDate(X509_CRL_get0_nextUpdate(list.getX509Crl()));
}

void addListIdentity(const Crl& list, const std::string& indent, Details& details) {
    details.add(indent + "Issuer", "issuer", readableName(list.getIssuer().getX509Name()), Backslash::keep);
    const std::optional<ListNumber> number = listNumber(list, NID_crl_number);
    details.add(indent + "Number", "", number ? Json(number->text()) : Json());
    details.add("", "number", number ? Json(number->decimal) : Json());
    details.add("", "numberHex", number ? Json(number->hexadecimal) : Json());
    const CertificateDate issued = issueDate(list);
    const CertificateDate next = nextUpdate(list);
    const bool has = X509_CRL_get0_nextUpdate(list.getX509Crl()) != nullptr;
    details.add(indent + "Issued", "", issued.text() + (issued.isReadable() ? " (" + issued.relative() + ")" : ""));
    details.add("", "lastUpdate", dateOrNull(issued, issued.iso()));
    details.add("", "ageSeconds", dateOrNull(issued, -issued.secondsFromNow()));
    details.add(indent + "Next update", "",
                !has ? "none"
                : next.isReadable()
                    ? next.text() + " (" + (next.secondsFromNow() <= 0 ? "was due " : "due ") + next.relative() + ")"
                    : next.text());
    details.add("", "nextUpdate", dateOrNull(next, next.iso()));
    details.add("", "daysLeft", dateOrNull(next, next.daysFromNow()));
}

void addListProperties(const Crl& list, Details& details) {
    X509_CRL* const crl = list.getX509Crl();
    details.add("Version", "version", list.getVersion() + 1);
    const X509_ALGOR* algorithm = nullptr;
    X509_CRL_get0_signature(crl, nullptr, &algorithm);
    const SignatureAlgorithm signature(algorithm);
    details.add("Signature algorithm", "", signature.text);
    details.add("", "signatureAlgorithm", signature.name);
    details.add("Entries", "entryCount", std::max(sk_X509_REVOKED_num(X509_CRL_get_REVOKED(crl)), 0));
    const bool delta = list.isDeltaCRL();
    const std::optional<ListNumber> base = listNumber(list, NID_delta_crl);
    details.add("Delta", "", !delta ? "no" : "yes, to list " + (base ? base->text() : "(unreadable)"));
    details.add("", "delta", delta);
    details.add("", "baseNumber", base ? Json(base->decimal) : Json());
    const OwnedPoint point = distributionPoint(list);
    details.add("Indirect", "indirect", point && point->indirectCRL > 0);
    const auto scope = listScope(list);
    details.add("Distribution point", "issuingDistributionPoint", scope ? Json(*scope) : Json());
}

} // namespace CmnCrypto::Cli
