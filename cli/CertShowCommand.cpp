#include <memory>
#include <string>

#include "CertificateDetails.h"
#include "CertificateInput.h"
#include "CertificateProblems.h"
#include "Commands.h"

namespace CmnCrypto::Cli {

namespace {

ExitCode runShow(const CertificateOptions& options) {
    const CertificateInput input(options.input);
    Details details;
    details.add("Input", "input", options.input);
    addSummary(input.leaf(), details);
    addExtensions(input.leaf(), details);
    details.add("", "state", validityState(input.leaf()));
    addFurtherCertificates(input.size(), details);
    addProblems(input.leaf(), details);
    details.print(options.json);
    return ExitCode::success;
}

} // namespace

Command addCertShowCommand(CLI::App& group) {
    auto options = std::make_shared<CertificateOptions>();
    CLI::App* parser = group.add_subcommand("show", "All about a certificate, and what is wrong with it");
    addCertificateOptions(*parser, *options);
    return {parser, [options] { return runShow(*options); }};
}

} // namespace CmnCrypto::Cli
