#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "CryptStream.h"
#include "FileOption.h"
#include "OutputFile.h"
#include "Report.h"
#include "StreamKey.h"

namespace CmnCrypto::Cli {

namespace {

using Encryption::KSCrypt;

struct CryptOptions {
    Direction direction = Direction::encrypt;
    std::string cipher = "AES_256_GCM";
    std::string keyFile;
    std::string passFile;
    std::string iv;
    std::string aad;
    std::string aadFile;
    std::string output;
    std::string input = "-";
    CLI::Option* outputGiven = nullptr;
    CLI::Option* aadGiven = nullptr;
    CLI::Option* ivGiven = nullptr;
    bool force = false;
    bool json = false;
    bool quiet = false;
};

std::vector<std::string> cipherNames() {
    std::vector<std::string> names;
    for (int32_t type = KSCrypt::CRYPT_NONE; type <= KSCrypt::AES_256_GCM; ++type) {
        names.push_back(KSCrypt::cryptTypeToString(static_cast<KSCrypt::CryptType>(type)));
    }
    return names;
}

Failure misuse(const std::string& text) {
    return {ExitCode::usage, text};
}

/** Refuses combinations that make no sense, before anything is opened. */
void checkUsage(const CryptOptions& options, KSCrypt::CryptType type) {
    const bool keyed = KSCrypt::cryptTypeToKeyLen(type) > 0;
    const bool hasKeyFile = !options.keyFile.empty();
    const bool hasPassFile = !options.passFile.empty();
    if (keyed && hasKeyFile == hasPassFile) {
        throw misuse("key: give either --key-file or --pass-file, with the name of a file");
    }
    if (!keyed && (hasKeyFile || hasPassFile)) {
        throw misuse("--cipher: " + options.cipher + " takes no key; leave the key or pass-phrase file out");
    }
    const bool wantsIv = type == KSCrypt::AES_256_CBC_EVP && hasKeyFile;
    if (wantsIv != (options.ivGiven->count() > 0)) {
        throw misuse(wantsIv ? "--iv: is missing; AES_256_CBC_EVP with a key file needs 32 hexadecimal digits"
                             : "--iv: goes with AES_256_CBC_EVP and a key file only; leave it out");
    }
    if (wantsIv && options.iv.empty()) {
        throw Failure(ExitCode::keyUnusable, "--iv: is empty; give 32 hexadecimal digits");
    }
    const bool hasAad = options.aadGiven->count() > 0;
    if (hasAad && !options.aadFile.empty()) {
        throw misuse("--aad: give either --aad or --aad-file");
    }
    if ((hasAad || !options.aadFile.empty()) && !KSCrypt::cryptTypeSupportsAAD(type)) {
        throw misuse("--aad: " + options.cipher + " takes no authenticated data; use AES_256_GCM");
    }
    for (const std::string& name : {options.keyFile, options.passFile, options.aadFile}) {
        if (name == "-") {
            throw misuse("-: standard input is for the data; name a file for keys and authenticated data");
        }
    }
}

Json describe(const CryptOptions& options, const std::string& output, const CryptStream& stream) {
    return {{"operation", options.direction == Direction::encrypt ? "encrypt" : "decrypt"},
            {"cipher", options.cipher},
            {"key", !options.keyFile.empty()    ? "key-file"
                    : !options.passFile.empty() ? "pass-file"
                                                : "none"},
            {"input", options.input},
            {"output", output},
            {"bytesIn", stream.bytesIn()},
            {"bytesOut", stream.bytesOut()}};
}

ExitCode runCrypt(const CryptOptions& options) {
    const KSCrypt::CryptType type = KSCrypt::stringToCryptType(options.cipher);
    checkUsage(options, type);
    const std::string name = options.outputGiven->count() > 0 ? options.output : defaultBinaryOutput();
    if (options.json && name == "-") {
        throw misuse("--json: needs standard output for itself; name an output with -o FILE");
    }
    const bool decrypting = options.direction == Direction::decrypt;
    InputFile input(options.input);
    // The library withholds the plaintext of GCM itself; what CBC gives counts only once its padding was right.
    const bool holdBack = decrypting && type != KSCrypt::AES_256_GCM && type != KSCrypt::CRYPT_NONE;
    OutputFile output({name, options.force, decrypting, holdBack});
    output.refuseSameAs(input);
    for (const std::string& secret : {options.keyFile, options.passFile, options.aadFile}) {
        output.refuseSameAs(secret);
    }

    const StreamKey key = obtainStreamKey({type, options.keyFile, options.passFile, options.iv, options.quiet},
                                          decrypting ? &input : nullptr);
    CryptStream stream(options.direction, type, key, input, output);
    if (!options.aadFile.empty()) {
        stream.addAuthenticatedFile(options.aadFile);
    } else {
        stream.addAuthenticatedData(options.aad);
    }
    stream.run(!options.quiet && !output.isTerminal());
    output.commit();
    if (options.json) {
        printJson(describe(options, name, stream));
    }
    return ExitCode::success;
}

Command addCryptCommand(CLI::App& app, Direction direction, const std::string& name, const std::string& description) {
    auto options = std::make_shared<CryptOptions>();
    options->direction = direction;
    CLI::App* parser = app.add_subcommand(name, description);
    parser->add_option("-c,--cipher", options->cipher, "Cipher")
        ->check(CLI::IsMember(cipherNames()))
        ->capture_default_str();
    parser->add_option("-k,--key-file", options->keyFile, "File with the key, raw or in hexadecimal digits")
        ->check(namedFile());
    parser->add_option("-p,--pass-file", options->passFile, "File whose first line is the pass phrase")
        ->check(namedFile());
    options->ivGiven =
        parser->add_option("--iv", options->iv, "IV for AES_256_CBC_EVP with a key file, 32 hexadecimal digits");
    options->aadGiven =
        parser->add_option("--aad", options->aad, "Text to be authenticated with the data (AES_256_GCM)");
    parser->add_option("--aad-file", options->aadFile, "File to be authenticated with the data")->check(namedFile());
    options->outputGiven =
        parser->add_option("-o,--output", options->output, "File to write; - is standard output")->check(namedFile());
    parser->add_flag("--force", options->force, "Replace an existing output");
    parser->add_flag("--json", options->json, "Print the result as one JSON document (with -o FILE)");
    parser->add_flag("-q,--quiet", options->quiet, "No progress bar, no warnings");
    parser->add_option("IN", options->input, "File to read; - or none: standard input")->check(namedFile());
    return {parser, [options] { return runCrypt(*options); }};
}

} // namespace

Command addEncryptCommand(CLI::App& app) {
    return addCryptCommand(app, Direction::encrypt, "encrypt", "Encrypt a file or standard input");
}

Command addDecryptCommand(CLI::App& app) {
    return addCryptCommand(app, Direction::decrypt, "decrypt", "Decrypt a file or standard input");
}

} // namespace CmnCrypto::Cli
