#include <memory>
#include <string>

#include <openssl/err.h>
#include <openssl/x509v3.h>

#include "CertificateDetails.h"
#include "CertificateInput.h"
#include "Commands.h"
#include "CrlDetails.h"
#include "CrlEntries.h"
#include "CrlInput.h"
#include "CrlProblems.h"
#include "Duration.h"
#include "FileOption.h"
#include "PemInput.h"
#include "ReadableName.h"
#include "Verdict.h"
#include "cmncrypto/CmnException.h"

namespace CmnCrypto::Cli {

namespace {

constexpr int32_t unusableData = 1; ///< the library's code where no decision is possible

constexpr int64_t daySeconds = 86400;

struct CrlCheckOptions {
    CertificateOptions certificate;
    std::string list;
    std::string authority;
    std::string maxAge;
};

/** What is decided with. */
struct Material {
    explicit Material(const CrlCheckOptions& options)
        : maxAge(parseDuration("--max-age", options.maxAge)), certificates(options.certificate.input),
          lists(options.list, CrlInput::Extent::first),
          authorities(certificatesAsPem(options.authority), INIT_TYPE_BLOB) {}

    X509Certificate& certificate() const { return certificates.leaf(); }
    const Crl& list() const { return lists.first(); }
    const X509Certificate& signer() const { return **authorities.getCertChainBegin(); }

    unsigned int maxAge;
    CertificateInput certificates;
    CrlInput lists;
    X509CertChain authorities;
};

struct Decision {
    Verdict verdict = cannotTell;
    int32_t time = 0;        ///< of a revoked certificate, as the library reports it
    std::string explanation; ///< why none could be made
};

Decision decide(Material& material) {
    Decision decision;
    RevokeInfo info;
    try {
        const CCRYPTStatus status = material.list().checkCertRevokeStatus(&material.authorities, material.maxAge,
                                                                          &material.certificate(), &info);
        decision.verdict = status == CCRYPT_SUCCESS        ? good
                           : status == CCRYPT_CERT_REVOKED ? revoked
                           : status == CCRYPT_CRL_STALE    ? stale
                                                           : cannotTell;
    } catch (const CmnException& failure) {
        if (failure.getErrorCode() != unusableData) {
            throw;
        }
        decision.explanation = failure.what();
    }
    decision.time = info.revocationTime;
    const std::unique_ptr<char[]> serialNumber(info.serialNumber); // ours now
    return decision;
}

bool isSignedBy(const Crl& list, const X509Certificate& signer) {
    EVP_PKEY* const key = X509_get0_pubkey(signer.getX509());
    const bool fits = key != nullptr && X509_CRL_verify(list.getX509Crl(), key) == 1;
    ERR_clear_error();
    return fits;
}

/** Adds why the first certificate of the bundle is not the one that signed the list. */
void explainSignature(const Material& material, const std::string& bundle, Details& details) {
    const X509Name issuer = material.list().getIssuer();
    const bool named = material.signer().getSubject() == issuer;
    const auto begin = material.authorities.getCertChainBegin();
    for (size_t i = 1; i < material.authorities.getCertChainLength(); ++i) {
        const X509Certificate& other = *begin[static_cast<long>(i)];
        if (other.getSubject() == issuer && isSignedBy(material.list(), other)) {
            details.problem("wrong order: certificate " + std::to_string(i + 1) + " of " + bundle +
                            " has signed the list, but only the first one counts; put it first");
            return;
        }
    }
    details.problem(named
                        ? "wrong signature: the list was altered, or its issuer has another key than in " + bundle
                        : "another authority: the list is by " + readableName(issuer) + ", the first certificate of " +
                              bundle + " belongs to " + readableName(material.signer().getSubject()));
}

/** What the decision does not ask for, where that matters. */
std::vector<std::string> notLookedAt(const Material& material) {
    Details list;
    const X509Name issuer = material.certificate().getIssuer();
    if (!(issuer == material.list().getIssuer())) {
        list.problem("another issuer: the certificate is by " + readableName(issuer) +
                     ", and a list knows the serial numbers of its own issuer only");
    } else if (X509_verify(material.certificate().getX509(), X509_get0_pubkey(material.signer().getX509())) != 1) {
        ERR_clear_error();
        list.problem("another key: the signer of the list has not signed the certificate; it may be an authority that "
                     "only has the same name");
    }
    if (const auto scope = listScope(material.list()); scope && !scope->empty()) {
        list.problem("partial list: it is for " + scope->front() +
                     (scope->size() > 1 ? ", ... (crl show prints all)" : ""));
    }
    if ((X509_get_key_usage(material.signer().getX509()) & KU_CRL_SIGN) == 0) {
        list.problem("wrong key usage: the signer is not allowed to sign lists");
    }
    const CertificateDate end(X509_get0_notAfter(material.signer().getX509()));
    if (end.isReadable() && end.secondsFromNow() < 0) {
        list.problem("expired signer: its certificate ended " + end.relative());
    }
    addListProblems(material.list(), list);
    return list.document()["problems"];
}

void addRevocation(const Material& material, const Decision& decision, bool isSigned, Details& details) {
    const X509_REVOKED* const entry =
        findEntry(material.list(), X509_get0_serialNumber(material.certificate().getX509()));
    if (entry == nullptr || decision.verdict == good || !isSigned) {
        return;
    }
    const CrlEntry content(entry);
    if (decision.verdict != revoked) {
        if (content.reason != CRL_REASON_REMOVE_FROM_CRL) {
            details.problem("listed: whatever the list is worth, it has the certificate as revoked since " +
                            content.date.text());
        }
        return;
    }
    content.addTo(details);
    if (content.date.isReadable() && content.date.seconds() != decision.time) {
        details.problem("date wraps: as a number of 32 bits the revocation time becomes " +
                        std::to_string(decision.time));
    }
}

void addAge(const Material& material, const Decision& decision, Details& details) {
    const CertificateDate issued = issueDate(material.list());
    const int64_t age = -issued.secondsFromNow();
    details.add("  Age", "",
                (issued.isReadable() ? std::to_string(age) + " seconds" : "(unreadable)") + "; allowed are " +
                    std::to_string(material.maxAge) +
                    (material.maxAge < 7200 ? "" : " (" + spanText(material.maxAge) + ")"));
    details.add("", "maxAgeSeconds", material.maxAge);
    const bool decided = decision.verdict == good || decision.verdict == revoked;
    if (issued.isReadable() && decided && age - daySeconds >= int64_t{material.maxAge}) {
        details.problem("older than allowed: by a whole number of days, which the library lets pass");
    }
}

ExitCode runCrlCheck(const CrlCheckOptions& options) {
    readStandardInputOnce({options.certificate.input, options.list, options.authority});
    Material material(options);
    const Decision decision = decide(material);
    const bool isSigned = decision.verdict != cannotTell || isSignedBy(material.list(), material.signer());
    Details details;
    details.add("", "verdict", decision.verdict.word);
    details.add("Certificate", "certificate", options.certificate.input);
    details.add("Subject", "subject", readableName(material.certificate().getSubject()), Backslash::keep);
    details.add("Serial number", "serialNumber", material.certificate().getSerialNumber());
    addRevocation(material, decision, isSigned, details);
    Details list;
    material.lists.addTo(list, "List");
    addListIdentity(material.list(), "  ", list);
    details.addPart("list", list);
    addAge(material, decision, details);
    details.add("Signer", "",
                readableName(material.signer().getSubject()) + (isSigned ? "" : " (has not signed the list)"),
                Backslash::keep);
    details.add("", "signer",
                {{"file", options.authority},
                 {"subject", readableName(material.signer().getSubject())},
                 {"sha256", material.signer().generateHash(HASH_ALGO_SHA256)},
                 {"hasSigned", isSigned}});
    details.add("Not looked at", "notLookedAt", notLookedAt(material), Backslash::keep);
    if (!decision.explanation.empty()) {
        details.problem("no decision: " + decision.explanation);
    }
    if (!isSigned) {
        explainSignature(material, inputLabel(options.authority), details);
    }
    material.lists.addFurtherLists(details);
    return printVerdict(decision.verdict, details, options.certificate.json);
}

} // namespace

Command addCrlCheckCommand(CLI::App& group) {
    auto options = std::make_shared<CrlCheckOptions>();
    CLI::App* parser = group.add_subcommand("check", "Whether a certificate is revoked, by one revocation list");
    parser->add_option("-l,--crl", options->list, "Revocation list in PEM or DER")->required()->check(namedFile());
    parser->add_option("-c,--ca", options->authority, "Certificates, that of the list's issuer first")
        ->required()
        ->check(namedFile());
    parser->add_option("-a,--max-age", options->maxAge, "How long ago the list may have been issued: 3600, 36h, 7d")
        ->required();
    addCertificateOptions(*parser, options->certificate);
    return {parser, [options] { return runCrlCheck(*options); }};
}

} // namespace CmnCrypto::Cli
