#include <memory>
#include <string>

#include "Commands.h"
#include "DigestName.h"
#include "FileOption.h"
#include "KeyDescription.h"
#include "PemInput.h"
#include "PrivateKeyInput.h"
#include "SignedData.h"
#include "TextOutput.h"

namespace CmnCrypto::Cli {

namespace {

struct SignOptions {
    PrivateKeyOptions key;
    std::string algorithm = "SHA256";
    std::string input = "-";
    TextOutputOptions output;
};

ExitCode runSign(const SignOptions& options) {
    if (options.key.file == "-" && options.input == "-") {
        throw Failure(ExitCode::usage, "--key: standard input is for the data; name a file");
    }
    TextOutput output(options.output, OutputKind::text);
    output.refuseSameAs(options.key.file);
    output.refuseSameAs(options.key.passFile);
    output.refuseSameAs(options.input);
    const auto key = readPrivateKey(options.key);
    const std::string data = readSignedData(options.input);
    const std::string signature =
        signWith(*key, inputLabel(options.key.file), [&] { return key->getSign(data, digestOf(options.algorithm)); });
    Details details;
    details.add("", "input", options.input);
    details.add("", "algorithm", options.algorithm);
    output.deliver(signature + (options.output.json && options.output.given->count() == 0 ? "" : "\n"), "signature",
                   details);
    KeyDescription(key->getEVPKey()).addTo(details);
    if (options.algorithm == "SHA1") {
        details.problem("weak signature algorithm: SHA1; leave -a out");
    }
    details.printOrWarn(options.output.json, options.key.quiet);
    return ExitCode::success;
}

} // namespace

Command addSignCommand(CLI::App& app) {
    auto options = std::make_shared<SignOptions>();
    CLI::App* parser = app.add_subcommand("sign", "Sign a file or standard input; the signature is in Base64");
    addPrivateKeyOptions(*parser, options->key);
    addDigestOption(*parser, options->algorithm);
    addTextOutputOptions(*parser, options->output);
    parser->add_option("IN", options->input, "File to sign, read whole; - or none: standard input")->check(namedFile());
    return {parser, [options] { return runSign(*options); }};
}

} // namespace CmnCrypto::Cli
