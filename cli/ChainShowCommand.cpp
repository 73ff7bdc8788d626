#include <memory>
#include <string>

#include "CertificateDate.h"
#include "CertificateDetails.h"
#include "CertificateInput.h"
#include "CertificateProblems.h"
#include "ChainLinks.h"
#include "Commands.h"

namespace CmnCrypto::Cli {

namespace {

Json describe(const CertificateInput& input, const std::vector<ChainLink>& links) {
    Json certificates = Json::array();
    for (size_t i = 0; i < links.size(); ++i) {
        Details details;
        details.add("", "position", i + 1);
        details.add("", "role", links[i].role);
        details.add("", "issuerPosition", links[i].issuer ? Json(*links[i].issuer + 1) : Json());
        details.add("", "signedByIssuer", links[i].issuer ? Json(links[i].isSigned) : Json());
        addSummary(input.at(i), details);
        details.add("", "state", validityState(input.at(i)));
        addProblems(input.at(i), details);
        certificates.push_back(details.document());
    }
    return certificates;
}

void printBlocks(const CertificateInput& input, const std::vector<ChainLink>& links) {
    for (size_t i = 0; i < links.size(); ++i) {
        printLine("Certificate " + std::to_string(i + 1) + " of " + std::to_string(links.size()) + ": " +
                  links[i].role);
        Details details;
        addIdentity(input.at(i), details);
        details.add("Link", "", links[i].text(i));
        addProblems(input.at(i), details);
        details.print(false);
        printLine("");
    }
}

ExitCode runChainShow(const CertificateOptions& options) {
    const CertificateInput input(options.input);
    const std::vector<ChainLink> links = findLinks(input);
    Details details;
    details.add("Input", "input", options.input);
    details.add("Certificates", "length", input.size());
    for (const std::string& text : chainProblems(input, links)) {
        details.problem(text);
    }
    if (options.json) {
        details.add("", "certificates", describe(input, links));
    } else {
        printBlocks(input, links);
    }
    details.print(options.json);
    return ExitCode::success;
}

} // namespace

Command addChainShowCommand(CLI::App& group) {
    auto options = std::make_shared<CertificateOptions>();
    CLI::App* parser = group.add_subcommand("show", "Every certificate of an input, its issuer, and what is wrong");
    addCertificateOptions(*parser, *options);
    return {parser, [options] { return runChainShow(*options); }};
}

} // namespace CmnCrypto::Cli
