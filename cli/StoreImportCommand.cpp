#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Commands.h"
#include "FileOption.h"
#include "Files.h"
#include "Interrupt.h"
#include "LogPrinter.h"
#include "PassPhrase.h"
#include "StoreTarget.h"
#include "cmncrypto/WinCertStoreHelper.h"

namespace CmnCrypto::Cli {

namespace {

using namespace WinCertStore;

struct ImportOptions {
    std::string folder;
    std::string input;
    std::string store;
    std::string passFile;
    bool noPassPhrase = false;
    bool exportable = false;
    bool json = false;
    bool quiet = false;
};

/** Holds signals back, so that all of a file comes in or nothing; not where its reader may have to wait. */
class ImportBlock {
public:
    explicit ImportBlock(const std::string& input) {
        FileStatus status;
        if (statusOf(input, status) && status.kind == FileKind::regular) {
            m_block.emplace();
        }
    }

private:
    std::optional<SignalBlock> m_block;
};

std::vector<WinCertStoreCertificate> import(const ImportOptions& options) {
    std::vector<WinCertStoreCertificate> imported;
    WinCertStoreError error = WIN_CERT_STORE_OK;
    const bool isBundle = options.noPassPhrase || !options.passFile.empty();
    if (isBundle) {
        const Secret passPhrase = readOptionalPassPhrase(options.passFile, options.quiet);
        imported.resize(1);
        captureFailures();
        const ImportBlock block(options.input);
        error = WinCertStoreHelper::ImportPKCS12(options.input, passPhrase.text(), options.store, options.exportable,
                                                 imported.data());
    } else {
        captureFailures();
        const ImportBlock block(options.input);
        error = WinCertStoreHelper::ImportCertificates(options.input, options.store, &imported);
    }
    if (error != WIN_CERT_STORE_OK) {
        const bool mayBeBundle = !isBundle && error == WIN_CERT_STORE_IMPORT_UNREADABLE;
        throw storeFailure(
            error, options.input + (mayBeBundle ? " (for a PKCS#12 bundle give --pass-file or --no-pass-phrase)" : ""));
    }
    return imported;
}

ExitCode runImport(const ImportOptions& options) {
    if (!options.passFile.empty() && options.noPassPhrase) {
        throw Failure(ExitCode::usage, "bundle: give either --pass-file FILE or --no-pass-phrase");
    }
    if (options.input == "-") {
        throw Failure(ExitCode::usage, "FILE: certificates are read from files only; name a file, ./- for this name");
    }
    const auto stores = useStores(options.folder);
    static_cast<void>(OpenedStore(stores, options.store)); // tells which stores there are
    Json certificates = Json::array();
    std::string text;
    for (const WinCertStoreCertificate& certificate : import(options)) {
        Details details;
        addStoreCertificate(certificate, details);
        certificates.push_back(details.members());
        text += (text.empty() ? "" : "\n\n") + details.text();
    }
    if (options.json) {
        printJson({{"input", options.input}, {"store", options.store}, {"certificates", certificates}});
    } else {
        printLine(text);
    }
    return ExitCode::success;
}

} // namespace

Command addStoreImportCommand(CLI::App& group) {
    auto options = std::make_shared<ImportOptions>();
    CLI::App* parser =
        group.add_subcommand("import", "Add the certificates of a file to a store, or a bundle with its key");
    addStoreOption(*parser, options->folder);
    parser->add_option("-i,--into", options->store, "Store, which must be there")->required();
    parser->add_option("-p,--pass-file", options->passFile, "For a PKCS#12 bundle: its first line is the pass phrase")
        ->check(namedFile());
    parser->add_flag("--no-pass-phrase", options->noPassPhrase, "For a PKCS#12 bundle with an empty pass phrase");
    parser->add_flag("--exportable", options->exportable,
                     "Let the key leave the store again, where stores allow it; a folder does not");
    parser->add_flag("--json", options->json, "Print the result as one JSON document");
    parser->add_flag("-q,--quiet", options->quiet, "No warnings");
    parser->add_option("FILE", options->input, "Certificates in PEM, one or more, or DER; or a PKCS#12 bundle")
        ->required()
        ->check(namedFile());
    return {parser, [options] { return runImport(*options); }};
}

} // namespace CmnCrypto::Cli
