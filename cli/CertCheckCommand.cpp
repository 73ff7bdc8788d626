#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <openssl/x509.h>

#include "CertificateDate.h"
#include "CertificateDetails.h"
#include "CertificateInput.h"
#include "CertificateProblems.h"
#include "Commands.h"
#include "FileOption.h"
#include "KeyDescription.h"
#include "PassPhrase.h"
#include "PemInput.h"
#include "PrivateKeyInput.h"
#include "ReadableName.h"
#include "cmncrypto/X509PublicKey.h"

namespace CmnCrypto::Cli {

namespace {

constexpr uint64_t mostDays = 1000000;
constexpr int64_t secondsPerDay = 86400;

struct CheckOptions {
    CertificateOptions certificate;
    std::string days;
    CLI::Option* daysGiven = nullptr;
    std::string key;
    std::string passFile;
    bool strict = false;
    bool quiet = false;
};

/** Adds whether the key belongs to the certificate, null when none was given. */
void checkKey(const CheckOptions& options, const X509Certificate& certificate, Details& details) {
    if (options.key.empty()) {
        details.add("", "keyMatches", nullptr);
        return;
    }
    const Secret passPhrase = readOptionalPassPhrase(options.passFile, options.quiet);
    warnIfReadableByOthers(options.key, options.quiet);
    const auto key = openPrivateKey(privateKeyAsPem(options.key), passPhrase, inputLabel(options.key));
    const bool matches = X509PublicKey(key->getEVPKey(), false).verifyCert(certificate.getPemString());
    details.add("Key matches", "keyMatches", matches);
    if (!matches) {
        details.problem("key does not match: " + inputLabel(options.key) + " belongs to another certificate");
    }
}

void checkDays(const CheckOptions& options, X509Certificate& certificate, Details& details) {
    const CertificateDate end(X509_get0_notAfter(certificate.getX509()));
    const std::string state = validityState(certificate);
    details.add("Dates", "state", state + (state == "valid" ? ", ends " + end.relative() : ""));
    details.add("", "state", state);
    details.add("", "daysLeft", end.isReadable() ? Json(end.daysFromNow()) : Json());
    if (options.daysGiven->count() == 0 || state == "expired" || !end.isReadable()) {
        return;
    }
    const auto days = static_cast<int64_t>(parseCount("--days", options.days, 0, mostDays));
    if (end.secondsFromNow() < days * secondsPerDay) {
        details.problem("expires soon: " + end.relative() + ", " + options.days + " days are asked for");
    }
}

void addRemarks(const CheckOptions& options, std::vector<std::string> remarks, const X509Certificate& certificate,
                Details& details) {
    const EVP_PKEY* key = X509_get0_pubkey(certificate.getX509());
    if (key == nullptr || KeyDescription(key).weak) {
        remarks.push_back(key == nullptr ? "unreadable key" : "weak key: " + KeyDescription(key).text());
    }
    details.add("Remark", "remarks", remarks);
    for (const std::string& text : remarks) {
        if (options.strict) {
            details.problem(text);
        }
    }
}

ExitCode runCheck(const CheckOptions& options) {
    if (options.daysGiven->count() > 0) {
        parseCount("--days", options.days, 0, mostDays);
    }
    if (options.key == "-" && options.certificate.input == "-") {
        throw Failure(ExitCode::usage, "--key: standard input is for the certificate; name a file");
    }
    const CertificateInput input(options.certificate.input);
    X509Certificate& certificate = input.leaf();
    const CertificateProblems problems = findProblems(certificate);
    Details details;
    details.add("Input", "input", options.certificate.input);
    details.add("Subject", "subject", readableName(certificate.getSubject().getX509Name()), Backslash::keep);
    for (const std::string& text : problems.serious) {
        details.problem(text);
    }
    checkDays(options, certificate, details);
    addSignatureAlgorithm(certificate, details);
    checkKey(options, certificate, details);
    addRemarks(options, problems.remarks, certificate, details);
    addFurtherCertificates(input.size(), details);
    details.add("Passed", "passed", !details.hasProblems());
    if (options.certificate.json || !options.quiet) {
        details.print(options.certificate.json);
    }
    return details.hasProblems() ? ExitCode::negative : ExitCode::success;
}

} // namespace

Command addCertCheckCommand(CLI::App& group) {
    auto options = std::make_shared<CheckOptions>();
    CLI::App* parser = group.add_subcommand("check", "Dates, signature algorithm and key; exit code 1 when something "
                                                     "is wrong");
    options->daysGiven = parser->add_option("-d,--days", options->days, "It must last that many days more");
    auto* key = parser->add_option("-k,--key", options->key, "Private key in PEM or DER that must belong to it")
                    ->check(namedFile());
    parser->add_option("-p,--pass-file", options->passFile, "File whose first line is the pass phrase of the key")
        ->check(namedFile())
        ->needs(key);
    parser->add_flag("--strict", options->strict, "Remarks count as problems");
    parser->add_flag("-q,--quiet", options->quiet, "No output but the exit code, no warnings");
    addCertificateOptions(*parser, options->certificate);
    return {parser, [options] { return runCheck(*options); }};
}

} // namespace CmnCrypto::Cli
