#include <memory>
#include <string>

#include "Commands.h"
#include "Interrupt.h"
#include "LogPrinter.h"
#include "StoreTarget.h"
#include "cmncrypto/WinCertStoreHelper.h"

namespace CmnCrypto::Cli {

namespace {

using namespace WinCertStore;

struct RemoveOptions {
    std::string folder;
    std::string store;
    std::string fingerprint;
    bool json = false;
};

ExitCode runRemove(const RemoveOptions& options) {
    if (!WinCertStoreHelper::IsValidFingerprint(options.fingerprint)) {
        throw Failure(ExitCode::usage, "FINGERPRINT: is no SHA-1 fingerprint; give 40 hexadecimal digits");
    }
    const auto stores = useStores(options.folder);
    static_cast<void>(OpenedStore(stores, options.store)); // tells which stores there are
    captureFailures();
    WinCertStoreError error = WIN_CERT_STORE_OK;
    {
        const SignalBlock block; // key and certificate, or neither
        error = WinCertStoreHelper::RemoveCertificate(options.fingerprint, options.store);
    }
    if (error != WIN_CERT_STORE_OK) {
        throw storeFailure(error, "store " + options.store);
    }
    if (options.json) {
        printJson({{"store", options.store}, {"removed", true}});
    }
    return ExitCode::success;
}

} // namespace

Command addStoreRemoveCommand(CLI::App& group) {
    auto options = std::make_shared<RemoveOptions>();
    CLI::App* parser = group.add_subcommand("remove", "Remove a certificate and its key from a store, for good");
    addStoreOption(*parser, options->folder);
    parser->add_option("--from", options->store, "Store that has it")->required();
    parser->add_flag("--json", options->json, "Print the result as one JSON document");
    parser->add_option("FINGERPRINT", options->fingerprint, "SHA-1, 40 hexadecimal digits, colons and blanks or not")
        ->required();
    return {parser, [options] { return runRemove(*options); }};
}

} // namespace CmnCrypto::Cli
