#include <algorithm>
#include <cctype>
#include <memory>
#include <string>

#include "CertificateInput.h"
#include "Commands.h"
#include "Details.h"
#include "DigestName.h"
#include "FileOption.h"
#include "Files.h"
#include "KeyDescription.h"
#include "PemInput.h"
#include "PublicKeyInput.h"
#include "SignedData.h"
#include "cmncrypto/CmnException.h"

namespace CmnCrypto::Cli {

namespace {

struct SignatureOptions {
    PublicKeyOptions key;
    std::string signature;
    std::string algorithm = "SHA256";
    std::string input = "-";
    bool json = false;
};

bool isBase64(const std::string& text) {
    const size_t padding = text.size() - text.find_last_not_of('=') - 1;
    return !text.empty() && text.size() % 4 == 0 && padding <= 2 &&
           std::all_of(text.begin(), text.end() - static_cast<long>(padding),
                       [](unsigned char c) { return std::isalnum(c) != 0 || c == '+' || c == '/'; });
}

/** The signature: bytes, or Base64 on one line as the library takes it. */
struct Signature {
    std::string content;
    bool base64;
};

/** No signature is shorter in Base64: a shorter text is the name of a file that is not there. */
constexpr size_t shortestText = 64;

/** Takes a file of that name, in Base64 with or without line ends or the bytes themselves, or the text in Base64. */
Signature readSignature(const std::string& value) {
    const bool file = value == "-" || isThere(value) || value.size() < shortestText;
    const std::string content = file ? readWhole(value).text() : value;
    std::string text;
    std::copy_if(content.begin(), content.end(), std::back_inserter(text),
                 [](unsigned char c) { return std::isspace(c) == 0; });
    if (isBase64(text)) {
        return {text, true};
    }
    if (!file) {
        throw Failure(ExitCode::usage, "--signature: \"" + value + "\" is no file and no Base64; give one of them");
    }
    return {content, false};
}

bool isGenuine(const X509PublicKey& key, const std::string& data, Signature& signature, const std::string& algorithm) {
    if (signature.base64) {
        return key.verifySign(data, signature.content, digestOf(algorithm));
    }
    int length = static_cast<int>(signature.content.size());
    return key.verifySign(data, reinterpret_cast<unsigned char*>(signature.content.data()), length,
                          digestOf(algorithm));
}

ExitCode runVerifySignature(const SignatureOptions& options) {
    if ((options.input == "-" ? 1 : 0) + (options.signature == "-" ? 1 : 0) +
            (options.key.usesStandardInput() ? 1 : 0) >
        1) {
        throw Failure(ExitCode::usage, "-: standard input can be read once only; name files for the rest");
    }
    const auto key = readPublicKey(options.key);
    Signature signature = readSignature(options.signature);
    const std::string data = readSignedData(options.input);
    std::string genuine;
    for (const std::string& name : options.algorithm == "any" ? digestNames() : std::vector{options.algorithm}) {
        genuine = genuine.empty() && isGenuine(*key, data, signature, name) ? name : genuine;
    }
    Details details;
    details.add("Input", "input", options.input);
    details.add("Genuine", "genuine", !genuine.empty());
    details.add("Digest", "algorithm", genuine.empty() ? Json() : Json(genuine));
    KeyDescription(key->getEVPKey()).addTo(details);
    if (genuine.empty()) {
        details.problem("signature not genuine: other data, another key or another digest");
    }
    details.print(options.json);
    return genuine.empty() ? ExitCode::negative : ExitCode::success;
}

} // namespace

Command addVerifySignatureCommand(CLI::App& app) {
    auto options = std::make_shared<SignatureOptions>();
    CLI::App* parser = app.add_subcommand("verify-signature", "Verify a signature; exit code 1 when it is not genuine");
    addPublicKeyOptions(*parser, options->key);
    parser
        ->add_option("-s,--signature", options->signature,
                     "The signature: a file, or the text in Base64; - is standard input")
        ->required()
        ->check(namedFile());
    addDigestOption(*parser, options->algorithm, "any");
    parser->add_flag("--json", options->json, "Print the result as one JSON document");
    parser->add_option("IN", options->input, "File that was signed, read whole; - or none: standard input")
        ->check(namedFile());
    return {parser, [options] { return runVerifySignature(*options); }};
}

} // namespace CmnCrypto::Cli
