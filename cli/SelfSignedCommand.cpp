#include <memory>
#include <string>
#include <vector>

#include "CertificateDetails.h"
#include "Commands.h"
#include "DigestName.h"
#include "OpenSslOwner.h"
#include "PemInput.h"
#include "PrivateKeyInput.h"
#include "SubjectText.h"
#include "TextOutput.h"
#include "cmncrypto/X509Certificate.h"

namespace CmnCrypto::Cli {

namespace {

/** The library computes the validity in 32 bits. */
constexpr uint64_t maximalDays = 24855;

struct SelfSignedOptions {
    PrivateKeyOptions key;
    std::string algorithm = "SHA256";
    std::string days = "365";
    std::string subject;
    TextOutputOptions output;
};

/** @return a certificate for the key, made by the library */
OwnedCertificate certify(const X509PrivateKey& key, const SelfSignedOptions& options, unsigned short days,
                         const std::vector<SubjectAttribute>& attributes) {
    std::vector<subTokenValuePair> list(attributes.size());
    for (size_t i = 0; i < attributes.size(); ++i) {
        list[i] = {attributes[i].token.c_str(), attributes[i].value.c_str(),
                   i + 1 < list.size() ? &list[i + 1] : nullptr};
    }
    // The library releases the key when it fails: it gets a reference of its own.
    EVP_PKEY_up_ref(key.getEVPKey());
    EVP_PKEY* reference = key.getEVPKey();
    X509* certificate = nullptr;
    const auto release = [&reference](void*) { EVP_PKEY_free(reference); };
    const std::unique_ptr<EVP_PKEY*, decltype(release)> guard(&reference, release);
    X509PrivateKey::generateSelfSignCertificate(days, digestOf(options.algorithm), list.data(), &reference,
                                                &certificate);
    return OwnedCertificate(certificate);
}

ExitCode runSelfSigned(const SelfSignedOptions& options) {
    const auto days = static_cast<unsigned short>(parseCount("--days", options.days, 1, maximalDays));
    const std::vector<SubjectAttribute> attributes = parseSubject("--subject", options.subject);
    TextOutput output(options.output, OutputKind::text);
    output.refuseSameAs(options.key.file);
    output.refuseSameAs(options.key.passFile);
    const auto key = readPrivateKey(options.key);
    const OwnedCertificate made =
        signWith(*key, inputLabel(options.key.file), [&] { return certify(*key, options, days, attributes); });
    const X509Certificate certificate(made.get(), false);
    Details details;
    output.deliver(certificate.getPemString(), "pem", details);
    addSummary(certificate, details);
    if (options.algorithm == "SHA1") {
        details.problem("weak signature algorithm: SHA1; leave -a out");
    }
    details.printOrWarn(options.output.json, options.key.quiet);
    return ExitCode::success;
}

} // namespace

Command addSelfSignedCommand(CLI::App& certGroup) {
    auto options = std::make_shared<SelfSignedOptions>();
    CLI::App* parser = certGroup.add_subcommand("self-signed", "Make a self-signed certificate without extensions");
    addPrivateKeyOptions(*parser, options->key);
    parser->add_option("--subject", options->subject, "Subject as cert show prints it: CN=host.example,O=Company,C=US")
        ->required();
    parser->add_option("--days", options->days, "Days of validity from now on, 1 to 24855")->capture_default_str();
    addDigestOption(*parser, options->algorithm);
    addTextOutputOptions(*parser, options->output);
    return {parser, [options] { return runSelfSigned(*options); }};
}

} // namespace CmnCrypto::Cli
