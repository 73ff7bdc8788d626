#include <algorithm>
#include <array>
#include <list>
#include <memory>
#include <string>

#include "CertificateDate.h"
#include "Commands.h"
#include "OpenSslOwner.h"
#include "StoreFolder.h"
#include "Verdict.h"
#include "cmncrypto/CertificateSelector.h"

namespace CmnCrypto::Cli {

namespace {

using namespace WinCertStore;

constexpr int malformedPath = 8764;

struct ExplainOptions {
    std::string folder;
    std::string path;
    std::string timeLag;
    bool json = false;
};

/** In the order of CandidateCheck. */
constexpr std::array<const char*, 9> checkNames = {
    "signature algorithm", "subject",  "issuer",   "private key", "server purpose",
    "client purpose",      "validity", "key type", "none"};

Details describe(const CandidateVerdict& verdict) {
    Details details;
    details.add("Store", "store", verdict.store_path.store_name);
    addStoreCertificate(verdict.certificate, details);
    const bool serves = verdict.refusedBy == CandidateCheck::none;
    const char* const check = checkNames.at(static_cast<size_t>(verdict.refusedBy));
    details.add("Serves", "serves", serves);
    details.add("", "refusedBy", serves ? Json() : Json(check));
    details.add("", "code", verdict.code);
    if (!serves) {
        details.add("Refused by", "reason", std::string(check) + ": " + refusalText(verdict));
        details.add("Code", "", verdict.code);
    }
    return details;
}

/** Why, of those that serve, it was this one. */
std::string choiceText(const std::list<CandidateVerdict>& verdicts, const WinCertStoreCertificate& winner,
                       const std::string& lag) {
    const auto serving = std::count_if(verdicts.begin(), verdicts.end(), [](const CandidateVerdict& verdict) {
        return verdict.refusedBy == CandidateCheck::none;
    });
    if (serving < 2) {
        return "the only one that serves";
    }
    if (lag.empty()) {
        return "the first of " + std::to_string(serving) + " that serve";
    }
    const bool oldEnough =
        CertificateDate(X509_get0_notBefore(OwnedCertificate(winner.GetX509()).get())).secondsFromNow() <=
        -60 * std::stoll(lag);
    return oldEnough
               ? "the newest of " + std::to_string(serving) + " that began at least " + lag + " minutes ago"
               : "the newest of " + std::to_string(serving) + ", as none began " + lag + " minutes ago or earlier";
}

[[noreturn]] void refusePath(const ExplainOptions& options, const std::string& reason, int code) {
    throw Failure(ExitCode::usage,
                  "PATH: \"" + options.path + "\": " + reason + "; put it in quotes for the shell: 'MY\\\\www.example'",
                  code);
}

ExitCode runExplain(const ExplainOptions& options) {
    if (const std::string mistake = storePathMistake(options.path); !mistake.empty()) {
        refusePath(options, mistake, malformedPath);
    }
    const StoreFilters filters = timeLagFilters(options.timeLag);
    const auto platform = useStores(options.folder);
    const CertificateSelector selector(options.path, filters);
    std::list<CandidateVerdict> verdicts;
    const int searched = selector.Explain(verdicts);
    WinCertStoreCertificate winner;
    _selected_win_cert_store_path selected;
    const int code = selector.GetCertificate(winner, selected, false);
    if (code != 0) {
        refuseUnreadable(platform, options.path);
    }
    if (code == malformedPath && verdicts.empty()) {
        refusePath(options, selectionText(code), code);
    }
    Details result;
    result.add("", "verdict", code == 0 ? "selected" : "none");
    result.add("Path", "path", options.path, Backslash::keep);
    result.add("", "code", code);
    Details chosen;
    if (code == 0) {
        chosen.add("Store", "store", selected.store_path.store_name);
        addStoreCertificate(winner, chosen);
        result.addPart("selected", chosen);
        result.add("Why", "why", choiceText(verdicts, winner, options.timeLag));
    } else {
        result.add("Result", "why",
                   std::to_string(code) + ": " +
                       (verdicts.empty()
                            ? selectionText(code)
                            : "no candidate serves; the last one that counts: " + selectionText(code, verdicts)));
    }
    if (searched != 0) {
        result.problem("not searched: a part of the path, code " + std::to_string(searched) + ": " +
                       selectionText(searched));
    }
    Json candidates = Json::array();
    std::string more;
    for (const CandidateVerdict& verdict : verdicts) {
        const Details details = describe(verdict);
        candidates.push_back(details.members());
        more += "\n\nCandidate " + std::to_string(candidates.size()) + " of " + std::to_string(verdicts.size()) + "\n" +
                details.text();
    }
    result.add("", "candidates", candidates);
    return printVerdict(code == 0 ? Verdict{"selected", ExitCode::success} : Verdict{"none", ExitCode::negative},
                        result, options.json, more);
}

} // namespace

Command addStoreExplainCommand(CLI::App& group) {
    auto options = std::make_shared<ExplainOptions>();
    CLI::App* parser =
        group.add_subcommand("explain", "Which certificate a store path selects, and why the others are refused");
    addStoreOption(*parser, options->folder);
    parser->add_option("-t,--time-lag", options->timeLag,
                       "Of several, prefer the newest that has been valid for so many minutes");
    parser->add_flag("--json", options->json, "Print the result as one JSON document");
    parser->add_option("PATH", options->path, "STORE\\ISSUER\\SUBJECT, several separated by commas")->required();
    return {parser, [options] { return runExplain(*options); }};
}

} // namespace CmnCrypto::Cli
