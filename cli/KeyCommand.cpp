#include <memory>
#include <string>
#include <vector>

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>

#include "Commands.h"
#include "FileOption.h"
#include "KeyDescription.h"
#include "OpenSslOwner.h"
#include "PassPhrase.h"
#include "PemInput.h"
#include "PrivateKeyInput.h"
#include "TextOutput.h"
#include "cmncrypto/X509PublicKey.h"

namespace CmnCrypto::Cli {

namespace {

/** Above, a key takes minutes to make and every use of it is slow. */
constexpr uint64_t maximalBits = 16384;

struct NewKeyOptions {
    std::string bits = "3072";
    std::string passFile;
    TextOutputOptions output;
    bool quiet = false;
};

struct KeyFileOptions {
    std::string passFile;
    std::string certificate;
    std::string input = "-";
    bool publicKey = false;
    bool json = false;
    bool quiet = false;
};

ExitCode runNew(const NewKeyOptions& options) {
    const auto bits = static_cast<unsigned short>(parseCount("--bits", options.bits, 1024, maximalBits));
    const Secret passPhrase = readOptionalPassPhrase(options.passFile, options.quiet);
    TextOutput output(options.output, OutputKind::confidential);
    output.refuseSameAs(options.passFile);
    EVP_PKEY* made = nullptr;
    X509PrivateKey::generatePrivateKey(bits, &made);
    const X509PrivateKey key(made, true);
    const Secret pem = privateKeyPem(key, passPhrase);
    Details details;
    output.deliver(pem.text(), "", details);
    details.add("", "encrypted", passPhrase.size() > 0);
    KeyDescription(key.getEVPKey()).addTo(details);
    details.printOrWarn(options.output.json, options.quiet);
    return ExitCode::success;
}

/** @return what the armour of the first private key of a text says about its encoding */
std::string formatOf(const std::string& pem) {
    const size_t end = pem.find("PRIVATE KEY-----");
    const size_t start = pem.rfind("-----BEGIN ", end) + std::string("-----BEGIN ").size();
    const std::string kind = pem.substr(start, end - start);
    return kind.empty() || kind == "ENCRYPTED " ? "PKCS#8"
           : kind == "RSA "                     ? "PKCS#1"
           : kind == "EC "                      ? "SEC 1"
                                                : kind.substr(0, kind.size() - 1); // without the blank
}

std::string publicKeyPem(const EVP_PKEY* key) {
    const OwnedBio bio(BIO_new(BIO_s_mem()));
    char* data = nullptr;
    if (!bio || PEM_write_bio_PUBKEY(bio.get(), key) != 1) {
        throw Failure(ExitCode::internal, "public key: cannot be written");
    }
    const long length = BIO_get_mem_data(bio.get(), &data);
    return {data, static_cast<size_t>(length)};
}

/** The key of an input, where it opens, and what X509PrivateKey says of it. */
struct ExaminedKey {
    std::unique_ptr<X509PrivateKey> key;
    bool encrypted;
    int status;
};

ExaminedKey examine(const KeyFileOptions& options, Details& details) {
    const Secret passPhrase = readOptionalPassPhrase(options.passFile, options.quiet);
    const Secret pem = privateKeyAsPem(options.input);
    warnIfReadableByOthers(options.input, options.quiet);
    const int status = X509PrivateKey::getPrivKeyStatus(pem.text(), passPhrase.text());
    const bool encrypted = status == 1 || X509PrivateKey::getPrivKeyStatus(pem.text(), "") == passPhraseMissing;
    details.add("Input", "input", options.input);
    details.add("Format", "format", formatOf(pem.text()));
    details.add("Encrypted", "encrypted", encrypted);
    return {status == 0 || status == 1 ? openPrivateKey(pem, passPhrase, inputLabel(options.input)) : nullptr,
            encrypted, status};
}

ExitCode runShow(const KeyFileOptions& options) {
    Details details;
    const ExaminedKey examined = examine(options, details);
    const bool locked = examined.status == passPhraseMissing;
    if (!examined.key && (!locked || options.publicKey)) {
        throw unusableKey(inputLabel(options.input), examined.status, examined.encrypted);
    }
    if (options.publicKey) {
        const std::string pem = publicKeyPem(examined.key->getEVPKey());
        if (options.json) {
            printJson({{"input", options.input}, {"pem", pem}});
        } else {
            printLine(pem.substr(0, pem.size() - 1));
        }
        return ExitCode::success;
    }
    if (examined.key) {
        KeyDescription(examined.key->getEVPKey()).addTo(details);
    } else {
        details.add("Key", "", "give its pass phrase with --pass-file FILE to see more");
    }
    details.print(options.json);
    return ExitCode::success;
}

/** @return whether private and public part belong together; null where OpenSSL cannot tell */
Json isConsistent(EVP_PKEY* key) {
    const Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free> context(EVP_PKEY_CTX_new(key, nullptr));
    const int result = context ? EVP_PKEY_check(context.get()) : -2;
    ERR_clear_error();
    return result == -2 ? Json() : Json(result == 1);
}

/** @return whether the first certificate of the file that the options name is for the key */
bool matchesCertificate(const KeyFileOptions& options, EVP_PKEY* key) {
    return X509PublicKey(key, false).verifyCert(certificatesAsPem(options.certificate));
}

void checkOpenedKey(const KeyFileOptions& options, EVP_PKEY* key, Details& details) {
    KeyDescription(key).addTo(details);
    const Json consistent = isConsistent(key);
    details.add("Parts consistent", "consistent", consistent);
    if (consistent == false) {
        details.problem("damaged key: its private and public part do not belong together");
    }
    if (!options.certificate.empty()) {
        const bool matches = matchesCertificate(options, key);
        details.add("Matches certificate", "certificateMatches", matches);
        if (!matches) {
            details.problem("wrong certificate: " + inputLabel(options.certificate) + " is for another key");
        }
    }
}

ExitCode runCheck(const KeyFileOptions& options) {
    if (options.certificate == "-" && options.input == "-") {
        throw Failure(ExitCode::usage, "--cert: standard input is for the key; name a file");
    }
    Details details;
    const ExaminedKey examined = examine(options, details);
    details.add("", "status", examined.status);
    details.add("Opens", "opens", examined.key != nullptr);
    if (examined.key) {
        checkOpenedKey(options, examined.key->getEVPKey(), details);
    } else {
        details.problem(std::string("does not open: ") +
                        unusableKey(inputLabel(options.input), examined.status, examined.encrypted).what());
    }
    details.print(options.json);
    return details.hasProblems() ? ExitCode::negative : ExitCode::success;
}

Command addNewKeyCommand(CLI::App& group) {
    auto options = std::make_shared<NewKeyOptions>();
    CLI::App* parser = group.add_subcommand("new", "Make an RSA key");
    parser->add_option("-b,--bits", options->bits, "Length of the modulus, 1024 to 16384")->capture_default_str();
    parser->add_option("-p,--pass-file", options->passFile, "File whose first line is to encrypt the key")
        ->check(namedFile());
    addTextOutputOptions(*parser, options->output);
    parser->add_flag("-q,--quiet", options->quiet, "No warnings");
    return {parser, [options] { return runNew(*options); }};
}

/** What showing and checking have in common. */
CLI::App* addKeyFileParser(CLI::App& group, const std::string& name, const std::string& description,
                           KeyFileOptions& options) {
    CLI::App* parser = group.add_subcommand(name, description);
    parser->add_option("-p,--pass-file", options.passFile, "File whose first line is the pass phrase of the key")
        ->check(namedFile());
    parser->add_flag("--json", options.json, "Print the result as one JSON document");
    parser->add_flag("-q,--quiet", options.quiet, "No warnings");
    parser->add_option("FILE", options.input, "Private key in PEM or DER; - or none: standard input")
        ->check(namedFile());
    return parser;
}

} // namespace

std::vector<Command> addKeyCommands(CLI::App& app) {
    CLI::App* group = app.add_subcommand("key", "Private keys: make, show, check");
    group->require_subcommand(1);
    auto shown = std::make_shared<KeyFileOptions>();
    CLI::App* show = addKeyFileParser(*group, "show", "Show what a private key is, never its private parts", *shown);
    show->add_flag("--public", shown->publicKey, "Print the public key in PEM, nothing else");
    auto checked = std::make_shared<KeyFileOptions>();
    CLI::App* check = addKeyFileParser(*group, "check", "Check that a private key opens and is sound", *checked);
    check->add_option("--cert", checked->certificate, "Certificate, in PEM or DER, that is to be for this key")
        ->check(namedFile());
    return {addNewKeyCommand(*group), {show, [shown] { return runShow(*shown); }}, {check, [checked] {
                                                                                        return runCheck(*checked);
                                                                                    }}};
}

} // namespace CmnCrypto::Cli
