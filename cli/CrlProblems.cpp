#include "CrlProblems.h"

#include <algorithm>
#include <initializer_list>
#include <set>
#include <string>

#include <openssl/x509v3.h>

#include "CertificateDetails.h"
#include "CrlDetails.h"
#include "SignatureAlgorithm.h"
#include "cmncrypto/CrlUtil.h"

namespace CmnCrypto::Cli {

namespace {

void judgeDates(const Crl& list, Details& details) {
    const CertificateDate issued = issueDate(list);
    const CertificateDate next = nextUpdate(list);
    const bool has = X509_CRL_get0_nextUpdate(list.getX509Crl()) != nullptr;
    if (!issued.isReadable() || (has && !next.isReadable())) {
        details.problem("unreadable date: programs will refuse the list");
    } else if (issued.secondsFromNow() > 0) {
        details.problem("not yet valid: issued " + issued.relative());
    }
    if (!has) {
        details.problem("no next update: nobody can tell when there is a newer list");
    } else if (next.isReadable() && CrlUtil::isCrlExpired(list.getX509Crl())) {
        details.problem("expired: the next update was due " + next.relative());
    }
    if (issued.isReadable() && next.isReadable() && next.seconds() < issued.seconds()) {
        details.problem("dates reversed: the next update is before this one");
    }
}

void judgeSignature(const Crl& list, Details& details) {
    const X509_ALGOR* algorithm = nullptr;
    X509_CRL_get0_signature(list.getX509Crl(), nullptr, &algorithm);
    const SignatureAlgorithm signature(algorithm);
    if (signature.isBroken()) {
        details.problem("broken signature algorithm: " + signature.text);
    } else if (signature.isWeak()) {
        details.problem("weak signature algorithm: " + signature.text);
    }
}

/** Collects the critical extensions that OpenSSL does not know in this place. */
void collectUnknown(const STACK_OF(X509_EXTENSION)* extensions, std::initializer_list<int> known,
                    std::set<std::string>& unknown) {
    for (int i = 0; i < X509v3_get_ext_count(extensions); ++i) {
        X509_EXTENSION* const extension = X509v3_get_ext(extensions, i);
        const ASN1_OBJECT* const object = X509_EXTENSION_get_object(extension);
        if (X509_EXTENSION_get_critical(extension) == 1 &&
            std::find(known.begin(), known.end(), OBJ_obj2nid(object)) == known.end()) {
            unknown.insert(objectText(object));
        }
    }
}

void judgeExtensions(const Crl& list, Details& details) {
    std::set<std::string> unknown;
    collectUnknown(X509_CRL_get0_extensions(list.getX509Crl()),
                   {NID_issuing_distribution_point, NID_authority_key_identifier, NID_delta_crl}, unknown);
    const STACK_OF(X509_REVOKED)* const entries = X509_CRL_get_REVOKED(list.getX509Crl());
    for (int i = 0; i < sk_X509_REVOKED_num(entries); ++i) {
        collectUnknown(X509_REVOKED_get0_extensions(sk_X509_REVOKED_value(entries, i)), {NID_certificate_issuer},
                       unknown);
    }
    for (const std::string& name : unknown) {
        details.problem("unknown critical extension: " + name + ", so programs must refuse the list");
    }
    for (const int kind : {NID_crl_number, NID_delta_crl, NID_issuing_distribution_point}) {
        const bool readable =
            kind == NID_issuing_distribution_point ? listScope(list).has_value() : listNumber(list, kind).has_value();
        if (hasExtension(list, kind) && !readable) {
            details.problem(std::string("malformed extension: ") + OBJ_nid2ln(kind));
        }
    }
}

void judgeVersion(const Crl& list, Details& details) {
    const bool extended = X509_CRL_get_ext_count(list.getX509Crl()) > 0;
    if (list.getVersion() == X509_CRL_VERSION_1) {
        details.problem(extended ? "old version: 1, which has no extensions, but this list has"
                                 : "old version: 1, without a number or an authority key identifier");
    } else if (!hasExtension(list, NID_crl_number)) {
        details.problem("no number: others cannot tell whether they have seen a newer list");
    }
}

} // namespace

void addListProblems(const Crl& list, Details& details) {
    judgeDates(list, details);
    if (list.isDeltaCRL()) {
        details.problem("delta list: it holds changes only; a check needs the complete list");
    }
    judgeSignature(list, details);
    judgeExtensions(list, details);
    judgeVersion(list, details);
}

} // namespace CmnCrypto::Cli
