#include <array>
#include <memory>
#include <string>
#include <vector>

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include "AlternativeNames.h"
#include "CertificateDetails.h"
#include "Commands.h"
#include "FileOption.h"
#include "KeyDescription.h"
#include "OpenSslOwner.h"
#include "PemInput.h"
#include "PrivateKeyInput.h"
#include "RequestedNames.h"
#include "SignatureAlgorithm.h"
#include "SubjectText.h"
#include "TextOutput.h"
#include "cmncrypto/X509Name.h"
#include "cmncrypto/X509PublicKey.h"

namespace CmnCrypto::Cli {

namespace {

constexpr char noAlternativeNames[] = "no alternative names: programs of today do not look for a host in the subject";

struct NewRequestOptions {
    PrivateKeyOptions key;
    std::string commonName;
    std::vector<std::string> alternativeNames;
    TextOutputOptions output;
};

struct ShowRequestOptions {
    std::string input = "-";
    bool json = false;
};

OwnedRequest parseRequest(const std::string& pem) {
    const OwnedBio bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    OwnedRequest request(bio ? PEM_read_bio_X509_REQ(bio.get(), nullptr, refusePassPhrase, nullptr) : nullptr);
    if (!request) {
        throw Failure(ExitCode::inputUnreadable, "request: cannot be read; make it anew");
    }
    return request;
}

void releaseExtensions(STACK_OF(X509_EXTENSION)* extensions) {
    sk_X509_EXTENSION_pop_free(extensions, X509_EXTENSION_free);
}

using OwnedExtensions = Owned<STACK_OF(X509_EXTENSION), releaseExtensions>;

OwnedExtensions extensionsOf(X509_REQ* request) {
    OwnedExtensions extensions(X509_REQ_get_extensions(request));
    ERR_clear_error();
    return extensions;
}

ExitCode runNew(const NewRequestOptions& options) {
    const std::string names = requestedNames("--san", options.alternativeNames);
    if (options.commonName.empty() && names.empty()) {
        throw Failure(ExitCode::usage, "csr: give --cn NAME, --san NAME or both");
    }
    const std::string commonName = toLatin1("--cn", options.commonName);
    if (commonName.size() > 64) {
        throw Failure(ExitCode::usage, "--cn: has more than 64 characters; put a long host name into --san alone");
    }
    TextOutput output(options.output, OutputKind::text);
    output.refuseSameAs(options.key.file);
    output.refuseSameAs(options.key.passFile);
    const auto key = readPrivateKey(options.key);
    const std::string pem =
        signWith(*key, inputLabel(options.key.file), [&] { return key->getCSR(commonName, names); });
    Details details;
    output.deliver(pem, "pem", details);
    details.add("", "commonName", options.commonName);
    details.add("", "alternativeNames", alternativeNames(extensionsOf(parseRequest(pem).get()).get()));
    KeyDescription(key->getEVPKey()).addTo(details);
    if (names.empty()) {
        details.problem(noAlternativeNames);
    }
    details.printOrWarn(options.output.json, options.key.quiet);
    return ExitCode::success;
}

std::string objectText(const ASN1_OBJECT* object) {
    std::array<char, 128> text = {};
    OBJ_obj2txt(text.data(), text.size(), object, 0);
    return text.data();
}

/** @return whether the request is signed with the key that it holds */
bool addKey(const std::string& pem, X509_REQ* request, Details& details) {
    try {
        const std::unique_ptr<X509PublicKey> key(X509PublicKey::extractPublicKeyFromCSR(pem));
        KeyDescription(key->getEVPKey()).addTo(details);
        const bool genuine = X509_REQ_verify(request, key->getEVPKey()) == 1;
        ERR_clear_error();
        return genuine;
    } catch (const CmnException&) {
        details.problem("unreadable key: malformed, or of a kind that OpenSSL does not know");
        return false;
    }
}

void addSignature(const X509_REQ* request, bool genuine, Details& details) {
    const X509_ALGOR* algorithm = nullptr;
    X509_REQ_get0_signature(request, nullptr, &algorithm);
    const SignatureAlgorithm signature(algorithm);
    details.add("Signature algorithm", "", signature.text);
    details.add("", "signatureAlgorithm", signature.name);
    details.add("Signature genuine", "signatureGenuine", genuine);
    if (!genuine) {
        details.problem("signature not genuine: the request was altered, or its maker lacks the key");
    }
    if (signature.isBroken() || signature.isWeak()) {
        details.problem("weak signature algorithm: " + signature.text);
    }
}

void addExtensions(X509_REQ* request, Details& details) {
    const OwnedExtensions extensions = extensionsOf(request);
    const std::vector<std::string> names = alternativeNames(extensions.get());
    details.add("", "alternativeNames", names);
    details.add("Alternative names", "", shortened(names));
    Json others = Json::array();
    for (int i = 0; i < sk_X509_EXTENSION_num(extensions.get()); ++i) {
        const ASN1_OBJECT* kind = X509_EXTENSION_get_object(sk_X509_EXTENSION_value(extensions.get(), i));
        if (OBJ_obj2nid(kind) != NID_subject_alt_name) {
            others.push_back(objectText(kind));
        }
    }
    details.add("Further extensions", "furtherExtensions", others);
    if (names.empty()) {
        details.problem(noAlternativeNames);
    }
}

ExitCode runShow(const ShowRequestOptions& options) {
    const std::string pem = requestAsPem(options.input);
    const OwnedRequest request = parseRequest(pem);
    Details details;
    details.add("Input", "input", options.input);
    addName("Subject", "subject", X509Name(X509_REQ_get_subject_name(request.get())), details);
    const bool genuine = addKey(pem, request.get(), details);
    addSignature(request.get(), genuine, details);
    addExtensions(request.get(), details);
    details.print(options.json);
    return ExitCode::success;
}

Command addNewCommand(CLI::App& group) {
    auto options = std::make_shared<NewRequestOptions>();
    CLI::App* parser = group.add_subcommand("new", "Make a request, signed with SHA-512");
    addPrivateKeyOptions(*parser, options->key);
    parser->add_option("--cn", options->commonName, "Common name, at most 64 characters");
    parser
        ->add_option(
            "--san", options->alternativeNames,
            "Alternative name: a host name, an address, or with DNS:, IP:, email: or URI: in front; repeatable")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
    addTextOutputOptions(*parser, options->output);
    return {parser, [options] { return runNew(*options); }};
}

Command addShowCommand(CLI::App& group) {
    auto options = std::make_shared<ShowRequestOptions>();
    CLI::App* parser = group.add_subcommand("show", "Show a request and verify its signature");
    parser->add_flag("--json", options->json, "Print the result as one JSON document");
    parser->add_option("FILE", options->input, "Request in PEM or DER; - or none: standard input")->check(namedFile());
    return {parser, [options] { return runShow(*options); }};
}

} // namespace

std::vector<Command> addCsrCommands(CLI::App& app) {
    CLI::App* group = app.add_subcommand("csr", "Certificate requests: make, show");
    group->require_subcommand(1);
    return {addNewCommand(*group), addShowCommand(*group)};
}

} // namespace CmnCrypto::Cli
