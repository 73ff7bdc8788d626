#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include "Commands.h"
#include "LogPrinter.h"
#include "StoreTarget.h"
#include "Verdict.h"
#include "cmncrypto/VerifyCertChain.h"

namespace CmnCrypto::Cli {

namespace {

using namespace WinCertStore;

struct StoreVerifyOptions {
    StoreTargetOptions target;
    std::string host;
    bool client = false;
    bool revocation = false;
};

/** Refuses an empty name, which would otherwise be taken for an option that was not given. */
CLI::Validator namedHost() {
    return {[](std::string& name) { return std::string(name.empty() ? "the name is empty; name a host" : ""); }, ""};
}

ExitCode runStoreVerify(const StoreVerifyOptions& options) {
    const StoreTarget target = findStoreTarget(options.target);
    captureFailures();
    const CertChainPolicy policy = {!options.client, options.host, options.revocation};
    const WinCertStoreError error = verify_certchain(target.certificate, policy);
    if (error != WIN_CERT_STORE_OK && error != WIN_CERT_STORE_CHAIN_NOT_VERIFIED) {
        throw storeFailure(error, "chain");
    }
    const Verdict verdict = error == WIN_CERT_STORE_OK ? verified : rejected;
    Details details;
    details.add("", "verdict", verdict.word);
    details.add("Store", "store", target.store);
    addStoreCertificate(target.certificate, details);
    details.add("Purpose", "purpose", options.client ? "TLS client" : "TLS server");
    details.add("Host", "host", options.host.empty() ? Json() : Json(options.host));
    details.add("Revocation check", "revocation", options.revocation);
    if (error != WIN_CERT_STORE_OK) {
        const bool more = firstFailure() != latestFailure();
        details.add("Reason", "reason", latestFailure() + (more ? " (" + firstFailure() + ")" : ""));
    }
    return printVerdict(verdict, details, options.target.json);
}

} // namespace

Command addStoreVerifyCommand(CLI::App& group) {
    auto options = std::make_shared<StoreVerifyOptions>();
    CLI::App* parser =
        group.add_subcommand("verify", "Verify a certificate's chain up to the store Root, by what the stores hold");
    addStoreTargetOptions(*parser, options->target);
    parser->add_option("--host", options->host, "Host or address that it must be issued for")->check(namedHost());
    parser->add_flag("--client", options->client, "Verify it for a TLS client instead of a server");
    parser->add_flag("--revocation", options->revocation,
                     "Ask the revocation lists (*.crl) of the stores Root and CA, which must be there");
    return {parser, [options] { return runStoreVerify(*options); }};
}

} // namespace CmnCrypto::Cli
