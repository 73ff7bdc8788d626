#include <algorithm>
#include <deque>
#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "Bundle.h"
#include "CertificateDate.h"
#include "Commands.h"
#include "FileOption.h"
#include "Interrupt.h"
#include "KeyDescription.h"
#include "PassPhrase.h"
#include "PemInput.h"
#include "PrivateKeyInput.h"
#include "ReadableName.h"
#include "TextOutput.h"
#include "cmncrypto/X509PublicKey.h"

namespace CmnCrypto::Cli {

namespace {

struct PackOptions {
    PrivateKeyOptions key;
    std::vector<std::string> certificates;
    std::string passFile;
    bool noPassPhrase = false;
    std::string name;
    TextOutputOptions output;
};

struct UnpackOptions {
    std::string passFile;
    std::string certificateOutput;
    std::string chainOutput;
    std::string keyOutput;
    std::string keyPassFile;
    std::string input = "-";
    bool force = false;
    bool json = false;
    bool quiet = false;
};

std::string subjectOf(const X509Certificate& certificate) {
    return readableName(X509_get_subject_name(certificate.getX509()));
}

std::vector<std::string> subjectsOf(const X509CertChain& chain, size_t first) {
    std::vector<std::string> subjects;
    for (auto at = chain.getCertChainBegin() + static_cast<long>(first); at != chain.getCertChainEnd(); ++at) {
        subjects.push_back(subjectOf(**at));
    }
    return subjects;
}

/** @return all certificates that were named, in PEM */
std::string certificatesOf(const PackOptions& options) {
    const auto fromInput = std::count(options.certificates.begin(), options.certificates.end(), "-");
    if (fromInput + (options.key.file == "-" ? 1 : 0) > 1) {
        throw Failure(ExitCode::usage, "-: standard input can be read once only; name files for the rest");
    }
    std::string pem;
    for (const std::string& name : options.certificates) {
        pem += certificatesAsPem(name);
    }
    return pem;
}

ExitCode runPack(const PackOptions& options) {
    if (options.passFile.empty() != options.noPassPhrase) {
        throw Failure(ExitCode::usage, "bundle: give either --pass-file FILE or --no-pass-phrase");
    }
    Secret passPhrase = readOptionalPassPhrase(options.passFile, options.key.quiet);
    TextOutput output(options.output, OutputKind::confidential);
    for (const std::string& name : {options.key.file, options.key.passFile, options.passFile}) {
        output.refuseSameAs(name);
    }
    for (const std::string& name : options.certificates) {
        output.refuseSameAs(name);
    }
    const X509CertChain chain(certificatesOf(options), INIT_TYPE_BLOB);
    const X509Certificate& leaf = **chain.getCertChainBegin();
    const auto key = readPrivateKey(options.key);
    if (!X509PublicKey(key->getEVPKey(), false).verifyCert(leaf.getPemString())) {
        throw Failure(ExitCode::keyUnusable, inputLabel(options.key.file) + ": is not the key of the certificate " +
                                                 subjectOf(leaf) + "; name the certificate of the key first");
    }
    const Secret content = makeBundle(chain, *key, options.name, passPhrase);
    Details details;
    output.deliver(content.text(), "", details);
    details.add("", "subject", subjectOf(leaf));
    details.add("", "furtherCertificates", subjectsOf(chain, 1));
    details.add("", "bytes", content.size());
    KeyDescription(key->getEVPKey()).addTo(details);
    if (options.noPassPhrase) {
        details.problem("no pass phrase: whoever can read the bundle has the key");
    }
    details.printOrWarn(options.output.json, options.key.quiet);
    return ExitCode::success;
}

/** One of the files that unpacking makes. */
struct Part {
    std::string label;
    std::string name;
    bool confidential;
    Secret content;
};

/** Writes all parts or none. Each output is opened once: the reader of a pipe waits for one writer. */
void writeParts(const UnpackOptions& options, const std::vector<Part>& parts) {
    std::deque<OutputFile> outputs;
    for (const Part& part : parts) {
        const OutputFile& output =
            outputs.emplace_back(OutputOptions{part.name, options.force, part.confidential, false});
        for (const std::string& input : {options.input, options.passFile, options.keyPassFile}) {
            output.refuseSameAs(input);
        }
    }
    for (size_t i = 0; i < parts.size(); ++i) {
        const Secret& content = parts[i].content;
        outputs[i].write(reinterpret_cast<const unsigned char*>(content.text().data()), content.size());
    }
    const SignalBlock block;
    try {
        for (OutputFile& output : outputs) {
            output.commit();
        }
    } catch (...) {
        for (OutputFile& output : outputs) {
            output.withdraw();
        }
        throw;
    }
}

/** @return the same text for all spellings of one file */
std::string plainName(const std::string& name) {
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(std::filesystem::u8path(name), error);
    const std::filesystem::path plain = std::filesystem::weakly_canonical(absolute, error);
    return name.empty() || name == "-" ? name : (error ? absolute.lexically_normal() : plain).u8string();
}

void checkUsage(const UnpackOptions& options) {
    std::vector<std::string> names;
    for (const std::string& name : {options.certificateOutput, options.chainOutput, options.keyOutput}) {
        const std::string plain = plainName(name);
        if (!name.empty() && std::find(names.begin(), names.end(), plain) != names.end()) {
            throw Failure(ExitCode::usage, name + ": is named twice; give every part an output of its own");
        }
        names.push_back(plain);
    }
    if (options.json && std::find(names.begin(), names.end(), "-") != names.end()) {
        throw Failure(ExitCode::usage, "--json: needs standard output for itself; name an output file");
    }
    if (options.keyOutput.empty() && !options.keyPassFile.empty()) {
        throw Failure(ExitCode::usage, "--key-pass-file: goes with --key-out only; leave it out");
    }
}

Secret copyOf(const std::string& text) {
    Secret copy(text.size());
    std::copy(text.begin(), text.end(), copy.data());
    return copy;
}

/** @return the parts that were asked for @throws Failure (input cannot be read) when the bundle lacks one */
std::vector<Part> collectParts(const UnpackOptions& options, const Bundle& bundle) {
    std::vector<Part> parts;
    const auto add = [&](const char* what, const std::string& name, bool there, bool confidential, auto content) {
        if (!name.empty() && !there) {
            throw Failure(ExitCode::inputUnreadable, inputLabel(options.input) + ": holds no " + what);
        }
        if (!name.empty()) {
            parts.push_back({what, name, confidential, content()});
        }
    };
    const Secret keyPassPhrase = readOptionalPassPhrase(options.keyPassFile, options.quiet);
    add("certificate for its key", options.certificateOutput, bundle.certificate != nullptr, false,
        [&] { return copyOf(bundle.certificate->getPemString()); });
    add("further certificates", options.chainOutput, !bundle.further.empty(), false,
        [&] { return copyOf(bundle.further); });
    add("private key", options.keyOutput, bundle.key != nullptr, true,
        [&] { return privateKeyPem(*bundle.key, keyPassPhrase); });
    return parts;
}

void describe(const Bundle& bundle, Details& details) {
    details.add("Name", "name", bundle.name.empty() ? Json() : Json(bundle.name));
    const bool certified = bundle.certificate != nullptr;
    details.add("Certificate", "subject", certified ? Json(subjectOf(*bundle.certificate)) : Json(), Backslash::keep);
    if (certified) {
        const CertificateDate end(X509_get0_notAfter(bundle.certificate->getX509()));
        details.add("Valid until", "", end.text() + " (" + end.relative() + ")");
        details.add("", "notAfter", end.iso());
    }
    const std::vector<std::string> further =
        bundle.further.empty() ? std::vector<std::string>() : subjectsOf({bundle.further, INIT_TYPE_BLOB}, 0);
    details.add("Further certificates", "furtherCertificates", further, Backslash::keep);
    details.add("", "holdsKey", bundle.key != nullptr);
    if (bundle.key) {
        KeyDescription(bundle.key->getEVPKey()).addTo(details);
    } else {
        details.problem("no private key: the bundle holds certificates only");
    }
}

ExitCode runUnpack(const UnpackOptions& options) {
    checkUsage(options);
    Secret passPhrase = readOptionalPassPhrase(options.passFile, options.quiet);
    const Bundle bundle = openBundle(readWhole(options.input), passPhrase, inputLabel(options.input));
    const std::vector<Part> parts = collectParts(options, bundle);
    writeParts(options, parts);
    Details details;
    details.add("Input", "input", options.input);
    describe(bundle, details);
    if (options.json || parts.empty()) {
        details.print(options.json);
    }
    return ExitCode::success;
}

Command addPackCommand(CLI::App& group) {
    auto options = std::make_shared<PackOptions>();
    CLI::App* parser = group.add_subcommand("pack", "Put a key, its certificate and a chain into a bundle");
    parser
        ->add_option(
            "--cert", options->certificates,
            "Certificate of the key in PEM or DER, with its chain in the same file or further ones; repeatable")
        ->required()
        ->check(namedFile())
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
    parser->add_option("-k,--key", options->key.file, "Private key in PEM or DER")->required()->check(namedFile());
    parser->add_option("--key-pass-file", options->key.passFile, "File whose first line is the pass phrase of the key")
        ->check(namedFile());
    parser->add_option("-p,--pass-file", options->passFile, "File whose first line is the pass phrase for the bundle")
        ->check(namedFile());
    parser->add_flag("--no-pass-phrase", options->noPassPhrase, "Make a bundle with an empty pass phrase");
    parser->add_option("--name", options->name, "What to call the certificate in the bundle");
    addTextOutputOptions(*parser, options->output);
    options->output.given->required();
    parser->add_flag("-q,--quiet", options->key.quiet, "No warnings");
    return {parser, [options] { return runPack(*options); }};
}

Command addUnpackCommand(CLI::App& group) {
    auto options = std::make_shared<UnpackOptions>();
    CLI::App* parser = group.add_subcommand("unpack", "Show what a bundle holds, or write it to files in PEM");
    parser->add_option("-p,--pass-file", options->passFile, "File whose first line is the pass phrase of the bundle")
        ->check(namedFile());
    parser->add_option("--cert-out", options->certificateOutput, "File for the certificate of the key")
        ->check(namedFile());
    parser->add_option("--chain-out", options->chainOutput, "File for the further certificates")->check(namedFile());
    parser->add_option("--key-out", options->keyOutput, "File for the private key, readable by its owner only")
        ->check(namedFile());
    parser->add_option("--key-pass-file", options->keyPassFile, "File whose first line is to encrypt that key")
        ->check(namedFile());
    parser->add_flag("--force", options->force, "Replace existing outputs");
    parser->add_flag("--json", options->json, "Print what the bundle holds as one JSON document");
    parser->add_flag("-q,--quiet", options->quiet, "No warnings");
    parser->add_option("IN", options->input, "Bundle; - or none: standard input")->check(namedFile());
    return {parser, [options] { return runUnpack(*options); }};
}

} // namespace

std::vector<Command> addPkcs12Commands(CLI::App& app) {
    CLI::App* group = app.add_subcommand("p12", "PKCS#12 bundles: pack, unpack");
    group->require_subcommand(1);
    return {addPackCommand(*group), addUnpackCommand(*group)};
}

} // namespace CmnCrypto::Cli
