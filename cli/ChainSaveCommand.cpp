#include <memory>
#include <string>
#include <vector>

#include "CertificateFile.h"
#include "ChainLinks.h"
#include "Commands.h"
#include "Details.h"
#include "FileOption.h"

namespace CmnCrypto::Cli {

namespace {

struct ChainSaveOptions {
    std::vector<std::string> inputs;
    std::string output;
    bool leafOnly = false;
    bool json = false;
    bool quiet = false;
};

ExitCode runChainSave(const ChainSaveOptions& options) {
    const std::vector<std::string> names = options.inputs.empty() ? std::vector<std::string>{"-"} : options.inputs;
    const CertificateInput input(names, options.leafOnly);
    saveToNewFile(input.chain(), options.output);
    Details details;
    details.add("", "inputs", names);
    details.add("", "output", options.output);
    details.add("", "length", input.size());
    if (options.json || !options.quiet) {
        for (const std::string& text : chainProblems(input, findLinks(input))) {
            details.problem(text);
        }
    }
    details.printOrWarn(options.json, options.quiet);
    return ExitCode::success;
}

} // namespace

Command addChainSaveCommand(CLI::App& group) {
    auto options = std::make_shared<ChainSaveOptions>();
    CLI::App* parser = group.add_subcommand("save", "Join inputs in one new file in PEM; never replaces one");
    parser->add_option("-o,--output", options->output, "File to write; it must not exist")
        ->required()
        ->check(namedFile());
    parser->add_flag("--leaf-only", options->leafOnly, "Only the first certificate");
    parser->add_flag("--json", options->json, "Print the result as one JSON document");
    parser->add_flag("-q,--quiet", options->quiet, "No warnings");
    addFileNames(*parser, "Inputs in PEM or DER, in the order of the chain; - or none: standard input",
                 options->inputs);
    return {parser, [options] { return runChainSave(*options); }};
}

} // namespace CmnCrypto::Cli
