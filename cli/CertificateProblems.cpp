#include "CertificateProblems.h"

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include "AlternativeNames.h"
#include "CertificateDate.h"
#include "CertificateDetails.h"
#include "SignatureAlgorithm.h"
#include "cmncrypto/CmnException.h"

namespace CmnCrypto::Cli {

namespace {

/** RFC 5280, 4.1.2.2: at most 20 bytes. */
constexpr size_t longestSerialNumber = 40;

void judgeDates(X509Certificate& certificate, CertificateProblems& problems) {
    const CertificateDate start(X509_get0_notBefore(certificate.getX509()));
    const CertificateDate end(X509_get0_notAfter(certificate.getX509()));
    const std::string state = validityState(certificate);
    if (state == "unreadable") {
        problems.serious.emplace_back("unreadable date: programs will take the certificate for expired");
        return;
    }
    if (state == "expired") {
        problems.serious.push_back("expired: " + end.relative());
    } else if (state == "not yet valid") {
        problems.serious.push_back("not yet valid: begins " + start.relative());
    }
    if (end.isReadable() && end.seconds() < start.seconds()) {
        problems.remarks.emplace_back("dates reversed: it ends before it begins");
    }
    if (end.isReadable() && certificate.getExpiryDateEPOC() != end.seconds()) {
        problems.remarks.push_back("date wraps: as a number of 32 bits the expiry date becomes " +
                                   std::to_string(certificate.getExpiryDateEPOC()));
    }
}

bool isAccepted(const X509Certificate& certificate) {
    try {
        certificate.validateAlgorithm();
        return true;
    } catch (const CmnException&) {
        return false;
    }
}

void judgeSignature(const X509Certificate& certificate, CertificateProblems& problems) {
    const SignatureAlgorithm algorithm(X509_get0_tbs_sigalg(certificate.getX509()));
    if (algorithm.isBroken() || !isAccepted(certificate)) {
        problems.serious.push_back("refused signature algorithm: " + algorithm.text);
    } else if (algorithm.isWeak()) {
        problems.remarks.push_back("weak signature algorithm: " + algorithm.text);
    }
}

void judgeSerialNumber(const std::string& number, CertificateProblems& problems) {
    if (number.empty() || number == "0" || number[0] == '-') {
        problems.remarks.emplace_back("unusual serial number: it should be positive");
    } else if (number.size() > longestSerialNumber) {
        problems.remarks.emplace_back("unusual serial number: longer than 20 bytes");
    }
}

void judgeExtensions(X509* certificate, CertificateProblems& problems) {
    const bool authority = X509_check_ca(certificate) > 0;
    if (!authority && alternativeNames(X509_get0_extensions(certificate)).empty()) {
        problems.remarks.emplace_back("no alternative names: programs of today do not look for a host in the subject");
    }
    if ((X509_get_extension_flags(certificate) & EXFLAG_INVALID) != 0) {
        problems.remarks.emplace_back("malformed extension: strict programs refuse the certificate");
    }
    ERR_clear_error();
}

} // namespace

CertificateProblems findProblems(X509Certificate& certificate) {
    CertificateProblems problems;
    judgeDates(certificate, problems);
    judgeSignature(certificate, problems);
    judgeSerialNumber(certificate.getSerialNumber(), problems);
    judgeExtensions(certificate.getX509(), problems);
    if (X509_get_version(certificate.getX509()) != X509_VERSION_3) {
        problems.remarks.emplace_back("old version: without extensions programs cannot tell what it is for");
    }
    return problems;
}

void addProblems(X509Certificate& certificate, Details& details) {
    const CertificateProblems problems = findProblems(certificate);
    for (const auto* texts : {&problems.serious, &problems.remarks}) {
        for (const std::string& text : *texts) {
            details.problem(text);
        }
    }
}

} // namespace CmnCrypto::Cli
