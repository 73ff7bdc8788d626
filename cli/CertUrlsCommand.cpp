#include <algorithm>
#include <array>
#include <bitset>
#include <memory>
#include <string>
#include <vector>

#include "CertificateInput.h"
#include "Commands.h"
#include "PemInput.h"
#include "Printable.h"
#include "Report.h"

namespace CmnCrypto::Cli {

namespace {

/** At the place of its bit: RFC 5280, 4.2.1.13. */
constexpr std::array<const char*, 9> reasonNames = {
    "unused",          "keyCompromise",      "cACompromise", "affiliationChanged", "superseded", "cessationOfOperation",
    "certificateHold", "privilegeWithdrawn", "aACompromise"};

struct UrlOptions {
    CertificateOptions certificate;
    std::vector<std::string> reasons;
};

std::bitset<9> wantedReasons(const std::vector<std::string>& names) {
    std::bitset<9> reasons;
    for (const std::string& name : names) {
        if (name == "all") {
            reasons.set();
            continue;
        }
        const auto* const found = std::find(reasonNames.begin(), reasonNames.end(), name);
        reasons.set(static_cast<size_t>(found - reasonNames.begin()));
    }
    return reasons;
}

ExitCode runUrls(const UrlOptions& options) {
    const CertificateInput input(options.certificate.input);
    const std::vector<std::string> urls = input.leaf().getHttpURLsFromCertCDPs(wantedReasons(options.reasons));
    const int points = input.leaf().getCdpsCount();
    if (options.certificate.json) {
        printJson({{"input", options.certificate.input},
                   {"reasons", options.reasons},
                   {"distributionPoints", std::max(points, 0)},
                   {"urls", urls}});
    } else {
        for (const std::string& url : urls) {
            printLine(printable(url));
        }
    }
    if (urls.empty()) {
        printError(inputLabel(options.certificate.input) + ": no HTTP URL among the " +
                   std::to_string(std::max(points, 0)) + " CRL distribution points" +
                   (options.reasons.empty() ? "" : " covers these reasons"));
    }
    return urls.empty() ? ExitCode::negative : ExitCode::success;
}

} // namespace

Command addCertUrlsCommand(CLI::App& group) {
    auto options = std::make_shared<UrlOptions>();
    std::vector<std::string> names(reasonNames.begin() + 1, reasonNames.end());
    names.emplace_back("all");
    CLI::App* parser = group.add_subcommand("urls", "HTTP URLs of the revocation lists that cover a certificate");
    parser->add_option("-r,--reason", options->reasons, "The list must cover this reason too; may be repeated")
        ->check(CLI::IsMember(names))
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
    addCertificateOptions(*parser, options->certificate);
    return {parser, [options] { return runUrls(*options); }};
}

} // namespace CmnCrypto::Cli
