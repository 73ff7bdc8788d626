#include <memory>
#include <string>

#include "CertificateFile.h"
#include "CertificateInput.h"
#include "Commands.h"
#include "FileOption.h"
#include "Report.h"

namespace CmnCrypto::Cli {

namespace {

struct SaveOptions {
    CertificateOptions certificate;
    std::string output;
};

ExitCode runSave(const SaveOptions& options) {
    const CertificateInput input(options.certificate.input);
    saveToNewFile(input.leaf(), options.output);
    if (options.certificate.json) {
        printJson({{"input", options.certificate.input},
                   {"output", options.output},
                   {"sha256", input.leaf().generateHash(HASH_ALGO_SHA256)}});
    }
    return ExitCode::success;
}

} // namespace

Command addCertSaveCommand(CLI::App& group) {
    auto options = std::make_shared<SaveOptions>();
    CLI::App* parser = group.add_subcommand("save", "Write a certificate to a new file in PEM; never replaces one");
    parser->add_option("-o,--output", options->output, "File to write; it must not exist")
        ->required()
        ->check(namedFile());
    addCertificateOptions(*parser, options->certificate);
    return {parser, [options] { return runSave(*options); }};
}

} // namespace CmnCrypto::Cli
