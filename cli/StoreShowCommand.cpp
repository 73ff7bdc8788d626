#include <array>
#include <memory>
#include <string>

#include "CertificateDetails.h"
#include "CertificateProblems.h"
#include "Commands.h"
#include "LogPrinter.h"
#include "OpenSslOwner.h"
#include "StoreTarget.h"
#include "cmncrypto/WinCertStoreHelper.h"

namespace CmnCrypto::Cli {

namespace {

using namespace WinCertStore;

/** In the order of StoreKeyKind. */
constexpr std::array<const char*, 3> keyKinds = {"none", "CNG", "CryptoAPI"};

ExitCode runShow(const StoreTargetOptions& options) {
    const StoreTarget target = findStoreTarget(options);
    captureFailures();
    WinCertStoreDetails found;
    if (const WinCertStoreError error = WinCertStoreHelper::GetDetails(target.certificate, found)) {
        throw storeFailure(error, "certificate");
    }
    const OwnedCertificate x509(target.certificate.GetX509());
    X509Certificate content(x509.get(), false);
    Details details;
    details.add("Store", "store", target.store);
    addSummary(content, details);
    addExtensions(content, details);
    details.add("", "state", validityState(content));
    details.add("Private key", "", keyKinds.at(static_cast<size_t>(found.privateKey)));
    details.add("", "hasKey", found.privateKey != STORE_KEY_NONE);
    addProblems(content, details);
    details.print(options.json);
    return ExitCode::success;
}

} // namespace

Command addStoreShowCommand(CLI::App& group) {
    auto options = std::make_shared<StoreTargetOptions>();
    CLI::App* parser = group.add_subcommand("show", "All about a certificate, and whether its key is there");
    addStoreTargetOptions(*parser, *options);
    return {parser, [options] { return runShow(*options); }};
}

} // namespace CmnCrypto::Cli
