#include <map>
#include <memory>
#include <string>
#include <vector>

#include <openssl/x509_vfy.h>

#include "CertificateDetails.h"
#include "CertificateInput.h"
#include "ChainVerification.h"
#include "Commands.h"
#include "CrlDetails.h"
#include "CrlProblems.h"
#include "FileOption.h"
#include "GivenLists.h"
#include "PemInput.h"
#include "ReadableName.h"

namespace CmnCrypto::Cli {

namespace {

struct VerifyOptions {
    CertificateOptions chain;
    std::string trusted;
    std::vector<std::string> lists;
    std::string level;
    CLI::Option* levelGiven = nullptr;
};

const std::map<std::string, crl_check_level> crlLevels = {
    {"off", CRL_CHECK_DISABLED}, {"leaf", CRL_CHECK_LEAF}, {"chain", CRL_CHECK_CHAIN}};

/** Adds the lists that were asked about a certificate. */
void addLists(const GivenLists& lists, const std::vector<size_t>& used, Details& details) {
    Json documents = Json::array();
    for (const size_t index : used) {
        Details list;
        lists.sources[index]->addTo(list, "List");
        const Crl& content = *lists.lists[index];
        addListIdentity(content, "  ", list);
        addListProblems(content, list);
        documents.push_back(list.document());
        details.addPart("", list);
        for (const Json& text : documents.back()["problems"]) {
            details.add("  Problem", "", text, Backslash::keep);
        }
    }
    details.add("", "lists", documents);
}

/** @return one part for each certificate of the chain that was built */
std::vector<Details> describeChain(const ChainAnswer& answer, const GivenLists& lists) {
    std::vector<Details> parts;
    if (answer.verifiedPem.empty()) {
        return parts;
    }
    const X509CertChain chain(answer.verifiedPem, INIT_TYPE_BLOB);
    for (auto at = chain.getCertChainBegin(); at != chain.getCertChainEnd(); ++at) {
        const size_t depth = parts.size();
        Details part;
        part.add("", "depth", depth);
        const X509Certificate& certificate = **at;
        part.add("Subject", "subject", readableName(certificate.getSubject()), Backslash::keep);
        part.add("Issuer", "issuer", readableName(certificate.getIssuer()), Backslash::keep);
        part.add("Serial number", "serialNumber", certificate.getSerialNumber());
        addDates(certificate, part);
        part.add("", "sha256", certificate.generateHash(HASH_ALGO_SHA256));
        addLists(lists, depth < answer.listsUsed.size() ? answer.listsUsed[depth] : std::vector<size_t>(), part);
        parts.push_back(std::move(part));
    }
    return parts;
}

/** Adds what became of the search for a list, which OpenSSL says nothing about. */
void explainMissingList(const GivenLists& lists, const X509Name& issuer, Details& details) {
    for (const Crl* list : lists.lists) {
        if (list->getIssuer() == issuer) {
            details.problem(
                "no list fits: there is one by " + readableName(issuer) +
                ", but it is indirect, for other certificates or some reasons only (see crl show), or of another "
                "key");
            return;
        }
    }
    details.problem("no list: none of the " + std::to_string(lists.lists.size()) + " given is by " +
                    readableName(issuer) + "; crl urls says where to fetch it");
}

void addFailureEvidence(const ChainAnswer& answer, const GivenLists& lists, Details& details) {
    details.add("Error", "",
                std::to_string(answer.error) + " at depth " + std::to_string(answer.depth) + ": " + answer.errorText);
    details.add("", "errorNumber", answer.error);
    details.add("", "errorText", answer.errorText);
    details.add("", "depth", answer.depth);
    const X509CertChain chain =
        answer.verifiedPem.empty() ? X509CertChain() : X509CertChain(answer.verifiedPem, INIT_TYPE_BLOB);
    if (static_cast<size_t>(answer.depth) >= chain.getCertChainLength()) {
        return;
    }
    const X509Certificate& certificate = *chain.getCertChainBegin()[answer.depth];
    details.add("Certificate", "subject", readableName(certificate.getSubject()), Backslash::keep);
    details.add("Serial number", "serialNumber", certificate.getSerialNumber());
    if (answer.revocation) {
        answer.revocation->addTo(details);
    }
    switch (answer.error) {
    case X509_V_ERR_UNABLE_TO_GET_CRL:
        explainMissingList(lists, certificate.getIssuer(), details);
        break;
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        details.problem("no root: a trusted certificate must have signed itself; trust " +
                        readableName(certificate.getIssuer()) + " as well");
        break;
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        details.problem("no issuer: add the certificate of " + readableName(certificate.getIssuer()) +
                        " to the chain, or to what is trusted");
        break;
    default:
        break;
    }
}

ExitCode report(const VerifyOptions& options, const std::string& level, const ChainAnswer& answer,
                const GivenLists& lists) {
    const Verdict verdict = verdictOn(answer.error);
    Details details;
    details.add("", "verdict", verdict.word);
    details.add("Input", "input", options.chain.input);
    details.add("Trusted", "trusted", options.trusted);
    details.add("Revocation check", "", level + ", lists given: " + std::to_string(lists.lists.size()));
    details.add("", "crlCheck", level);
    details.add("", "listsGiven", lists.lists.size());
    if (verdict != verified) {
        addFailureEvidence(answer, lists, details);
    }
    details.add("", "status", answer.statusText);
    if (level == "off" && !lists.lists.empty()) {
        details.problem("lists ignored: --crl-check is off");
    }
    lists.addTo(details);
    const std::vector<Details> parts = describeChain(answer, lists);
    Json chain = Json::array();
    for (const Details& part : parts) {
        chain.push_back(part.members());
    }
    details.add("", "chain", chain);
    std::string more;
    for (size_t i = 0; i < parts.size(); ++i) {
        more += "\n\nCertificate " + std::to_string(i + 1) + " of " + std::to_string(parts.size()) + ", depth " +
                std::to_string(i) + "\n" + parts[i].text();
    }
    return printVerdict(verdict, details, options.chain.json, more);
}

ExitCode runVerify(const VerifyOptions& options) {
    std::vector<std::string> names = options.lists;
    names.insert(names.end(), {options.chain.input, options.trusted});
    readStandardInputOnce(names);
    const std::string level = options.levelGiven->count() > 0 ? options.level : options.lists.empty() ? "off" : "chain";
    const GivenLists lists(options.lists);
    const ChainAnswer answer = verifyChain({trustedCertificatesAsPem(options.trusted),
                                            certificatesAsPem(options.chain.input), lists.lists, crlLevels.at(level)});
    return report(options, level, answer, lists);
}

} // namespace

Command addVerifyCommand(CLI::App& app) {
    auto options = std::make_shared<VerifyOptions>();
    CLI::App* parser = app.add_subcommand("verify", "Verify a certificate chain, and its revocation by lists");
    parser->add_option("-t,--trusted", options->trusted, "Certificates that are trusted, roots among them")
        ->required()
        ->check(namedFile());
    parser->add_option("-l,--crl", options->lists, "Revocation lists in PEM or DER; may be repeated")
        ->check(namedFile())
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
    options->levelGiven =
        parser
            ->add_option("--crl-check", options->level,
                         "Whose revocation is checked; without this option chain with --crl, off without")
            ->check(CLI::IsMember({"off", "leaf", "chain"}));
    parser->add_flag("--json", options->chain.json, "Print the result as one JSON document");
    parser
        ->add_option("CHAIN", options->chain.input,
                     "Chain in PEM or DER, the certificate in question first; - or none: standard input")
        ->check(namedFile());
    return {parser, [options] { return runVerify(*options); }};
}

} // namespace CmnCrypto::Cli
