#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "CertificateInput.h"
#include "Commands.h"
#include "PemInput.h"
#include "Printable.h"
#include "ReasonOption.h"
#include "Report.h"

namespace CmnCrypto::Cli {

namespace {

struct UrlOptions {
    CertificateOptions certificate;
    std::vector<std::string> reasons;
};

ExitCode runUrls(const UrlOptions& options) {
    const CertificateInput input(options.certificate.input);
    const std::vector<std::string> urls = input.leaf().getHttpURLsFromCertCDPs(reasonBits(options.reasons));
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
    CLI::App* parser = group.add_subcommand("urls", "HTTP URLs of the revocation lists that cover a certificate");
    addReasonOption(*parser, options->reasons);
    addCertificateOptions(*parser, options->certificate);
    return {parser, [options] { return runUrls(*options); }};
}

} // namespace CmnCrypto::Cli
