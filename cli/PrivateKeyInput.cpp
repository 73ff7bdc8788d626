#include "PrivateKeyInput.h"

#include "FileOption.h"
#include "KeyDescription.h"
#include "MemoryStream.h"
#include "PassPhrase.h"
#include "PemInput.h"

namespace CmnCrypto::Cli {

namespace {

/** Code of X509PrivateKey. */
constexpr int32_t refusedByFips = 8787;

/** More than the largest key that can be made takes. */
constexpr size_t maximalKeyPem = size_t{256} * 1024;

std::string reason(int32_t code, bool encrypted) {
    if (code == passPhraseMissing) {
        return "the private key is encrypted; give its pass phrase with --pass-file FILE";
    }
    if (code == refusedByFips) {
        return "FIPS mode refuses the encryption of this private key; encrypt it anew with AES";
    }
    return encrypted ? "the pass phrase does not open this private key"
                     : "the private key is malformed or of an unknown kind; make or fetch it anew";
}

} // namespace

void addPrivateKeyOptions(CLI::App& parser, PrivateKeyOptions& options) {
    parser.add_option("-k,--key", options.file, "Private key in PEM or DER; - is standard input")
        ->required()
        ->check(namedFile());
    parser.add_option("-p,--pass-file", options.passFile, "File whose first line is the pass phrase of the key")
        ->check(namedFile());
    parser.add_flag("-q,--quiet", options.quiet, "No warnings");
}

std::unique_ptr<X509PrivateKey> readPrivateKey(const PrivateKeyOptions& options) {
    const Secret passPhrase = readOptionalPassPhrase(options.passFile, options.quiet);
    const Secret pem = privateKeyAsPem(options.file);
    warnIfReadableByOthers(options.file, options.quiet);
    return openPrivateKey(pem, passPhrase, inputLabel(options.file));
}

std::unique_ptr<X509PrivateKey> openPrivateKey(const Secret& pem, const Secret& passPhrase, const std::string& label) {
    bool encrypted = false;
    try {
        try {
            // Without the pass phrase first: only so is a malformed key told from a wrong pass phrase.
            return std::make_unique<X509PrivateKey>(pem.text(), "");
        } catch (const CmnException& failure) {
            encrypted = failure.getErrorCode() == passPhraseMissing && passPhrase.size() > 0;
            if (!encrypted) {
                throw;
            }
        }
        return std::make_unique<X509PrivateKey>(pem.text(), passPhrase.text());
    } catch (const CmnException& failure) {
        throw unusableKey(label, failure.getErrorCode(), encrypted);
    }
}

Failure unusableKey(const std::string& label, int32_t code, bool encrypted) {
    return {ExitCode::keyUnusable, label + ": " + reason(code, encrypted), code};
}

Failure cannotSign(const X509PrivateKey& key, const std::string& label, const std::string& why, int32_t code) {
    return {ExitCode::keyUnusable,
            label + ": this key (" + KeyDescription(key.getEVPKey()).text() + ") cannot sign: " + why + " (code " +
                std::to_string(code) + "); use an RSA or EC key",
            code};
}

Secret privateKeyPem(const X509PrivateKey& key, const Secret& passPhrase) {
    MemoryStream file(maximalKeyPem);
    if (file.stream() == nullptr || key.saveToFile(file.stream(), passPhrase.text()) != 0) {
        throw Failure(ExitCode::internal, "private key: cannot be written; --log-level failure shows more");
    }
    return file.finish();
}

} // namespace CmnCrypto::Cli
