#include <memory>
#include <string>

#include "Commands.h"
#include "CrlInput.h"
#include "FileOption.h"
#include "TextOutput.h"

namespace CmnCrypto::Cli {

namespace {

struct ConvertOptions {
    std::string input = "-";
    std::string to;
    TextOutputOptions output;
};

ExitCode runConvert(const ConvertOptions& options) {
    const bool pem = options.to == "pem";
    TextOutput output(options.output, pem ? OutputKind::text : OutputKind::binary);
    output.refuseSameAs(options.input);
    const CrlInput input(options.input, CrlInput::Extent::first);
    const BinaryData& der = input.first().getDerCrl();
    Details details;
    input.addTo(details);
    details.add("", "to", options.to);
    output.deliver(pem ? input.first().getPemCrl() : std::string(der.begin(), der.end()), "pem", details);
    input.addFurtherLists(details);
    details.printOrWarn(options.output.json, false);
    return ExitCode::success;
}

} // namespace

Command addCrlConvertCommand(CLI::App& group) {
    auto options = std::make_shared<ConvertOptions>();
    CLI::App* parser = group.add_subcommand("convert", "Write a revocation list in DER or PEM");
    parser->add_option("-t,--to", options->to, "Format to write")->required()->check(CLI::IsMember({"der", "pem"}));
    addTextOutputOptions(*parser, options->output);
    parser->add_option("IN", options->input, "Revocation list in PEM or DER; - or none: standard input")
        ->check(namedFile());
    return {parser, [options] { return runConvert(*options); }};
}

} // namespace CmnCrypto::Cli
