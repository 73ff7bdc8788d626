#include <algorithm>
#include <cctype>
#include <memory>
#include <string>

#include "CertificateInput.h"
#include "Commands.h"
#include "DigestName.h"
#include "PemInput.h"
#include "Report.h"

namespace CmnCrypto::Cli {

namespace {

struct FingerprintOptions {
    CertificateOptions certificate;
    std::string algorithm = "SHA256";
    std::string expected;
    CLI::Option* expectGiven = nullptr;
};

/** @return the digits alone, in upper case */
std::string digitsOf(const std::string& text) {
    std::string digits;
    for (const char character : text) {
        if (character != ':' && character != ' ') {
            digits += static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
        }
    }
    return digits;
}

/** @param length number of digits */
std::string checkedExpectation(const FingerprintOptions& options, size_t length) {
    std::string expected = digitsOf(options.expected);
    if (expected.size() != length ||
        !std::all_of(expected.begin(), expected.end(), [](unsigned char c) { return std::isxdigit(c); })) {
        throw Failure(ExitCode::usage, "--expect: is no " + options.algorithm + " fingerprint; give " +
                                           std::to_string(length) + " hexadecimal digits");
    }
    return expected;
}

ExitCode runFingerprint(const FingerprintOptions& options) {
    const CertificateInput input(options.certificate.input);
    const std::string fingerprint = input.leaf().generateHash(digestOf(options.algorithm));
    const bool comparing = options.expectGiven->count() > 0;
    const std::string digits = digitsOf(fingerprint);
    const bool matches = !comparing || digits == checkedExpectation(options, digits.size());
    Json document = {
        {"input", options.certificate.input}, {"algorithm", options.algorithm}, {"fingerprint", fingerprint}};
    if (comparing) {
        document["matches"] = matches;
    }
    if (options.certificate.json) {
        printJson(document);
    } else {
        printLine(fingerprint);
    }
    if (!matches) {
        printError(inputLabel(options.certificate.input) + ": the fingerprint differs from the expected one");
    }
    return matches ? ExitCode::success : ExitCode::negative;
}

} // namespace

Command addCertFingerprintCommand(CLI::App& group) {
    auto options = std::make_shared<FingerprintOptions>();
    CLI::App* parser = group.add_subcommand("fingerprint", "Digest of a certificate");
    addDigestOption(*parser, options->algorithm);
    options->expectGiven = parser->add_option("-e,--expect", options->expected,
                                              "Compare with this fingerprint, colons or not; exit code 1 when it "
                                              "differs");
    addCertificateOptions(*parser, options->certificate);
    return {parser, [options] { return runFingerprint(*options); }};
}

} // namespace CmnCrypto::Cli
