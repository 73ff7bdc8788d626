#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "StoreFolder.h"
#include "TextOutput.h"
#include "cmncrypto/WinCertStoreHelper.h"

namespace CmnCrypto::Cli {

namespace {

using WinCertStore::WinCertStoreCertificate;

struct FindOptions {
    std::string folder;
    std::string stores;
    CLI::Option* storesGiven = nullptr;
    std::string fingerprint;
    bool pem = false;
    TextOutputOptions output;
};

/** Looks through the stores in their order. @return the name of the one that has it, empty for none */
std::string find(const FindOptions& options, WinCertStoreCertificate& certificate) {
    const auto platform = useStores(options.folder);
    const bool chosen = options.storesGiven->count() > 0;
    const std::vector<std::string> names = chosen ? listedNames(options.stores) : platform->storeNames();
    if (chosen && names.empty()) {
        throw Failure(ExitCode::usage, "--in: names no store; give NAME,... or leave the option out");
    }
    for (const std::string& name : names) {
        if (OpenedStore(platform, name).find(options.fingerprint, certificate)) {
            return name;
        }
    }
    return "";
}

ExitCode runFind(const FindOptions& options) {
    if (!WinCertStore::WinCertStoreHelper::IsValidFingerprint(options.fingerprint)) {
        throw Failure(ExitCode::usage, "FINGERPRINT: is no SHA-1 fingerprint; give 40 hexadecimal digits, with blanks "
                                       "or colons if you like (cert fingerprint -a SHA1 prints one)");
    }
    const bool wantsText = options.pem || options.output.given->count() > 0;
    WinCertStoreCertificate certificate;
    const std::string store = find(options, certificate);
    if (store.empty()) {
        printError("no certificate with the fingerprint " + options.fingerprint + " in the stores that were searched");
        if (options.output.json) {
            printJson({{"found", false}, {"store", nullptr}});
        }
        return ExitCode::negative;
    }
    Details details;
    details.add("", "found", true);
    details.add("Store", "store", store);
    addStoreCertificate(certificate, details);
    if (wantsText) {
        TextOutput(options.output, OutputKind::text).deliver(pemOf(certificate), "pem", details);
    }
    if (options.output.json || !wantsText) {
        details.print(options.output.json);
    }
    return ExitCode::success;
}

} // namespace

Command addStoreFindCommand(CLI::App& group) {
    auto options = std::make_shared<FindOptions>();
    CLI::App* parser = group.add_subcommand("find", "Find a certificate by its SHA-1 fingerprint");
    addStoreOption(*parser, options->folder);
    options->storesGiven =
        parser->add_option("-i,--in", options->stores, "Stores to search, NAME,...; without this option all of them");
    parser->add_flag("--pem", options->pem, "Print the certificate in PEM, nothing else");
    addTextOutputOptions(*parser, options->output);
    parser->add_option("FINGERPRINT", options->fingerprint, "40 hexadecimal digits, colons and blanks or not")
        ->required();
    return {parser, [options] { return runFind(*options); }};
}

} // namespace CmnCrypto::Cli
