#include <memory>
#include <string>

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

struct ExportOptions {
    StoreTargetOptions target;
    std::string output;
    std::string passFile;
    bool der = false;
    bool bundle = false;
    bool quiet = false;
};

WinCertStoreError write(const ExportOptions& options, const WinCertStoreCertificate& certificate) {
    if (!options.bundle) {
        captureFailures();
        const SignalBlock block;
        return WinCertStoreHelper::ExportCertificate(certificate, options.output,
                                                     options.der ? CERT_FILE_DER : CERT_FILE_PEM);
    }
    const Secret passPhrase = readPassPhrase(options.passFile, options.quiet);
    captureFailures();
    const SignalBlock block;
    return WinCertStoreHelper::ExportPKCS12(certificate, options.output, passPhrase.text());
}

ExitCode runExport(const ExportOptions& options) {
    if (options.bundle == options.passFile.empty() || (options.bundle && options.der)) {
        throw Failure(ExitCode::usage, "export: give --der, or --p12 with --pass-file FILE, or none of them for PEM");
    }
    if (options.output == "-") {
        throw Failure(ExitCode::usage, "-o: certificates are saved to files only; name a file, ./- for this name");
    }
    const StoreTarget target = findStoreTarget(options.target);
    if (isNameTaken(options.output)) {
        throw Failure(ExitCode::outputExists, options.output + ": exists already; name a new file");
    }
    if (const WinCertStoreError error = write(options, target.certificate)) {
        throw storeFailure(error, options.output);
    }
    Details details;
    details.add("Store", "store", target.store);
    addStoreCertificate(target.certificate, details);
    details.add("Output", "output", options.output);
    details.print(options.target.json);
    return ExitCode::success;
}

} // namespace

Command addStoreExportCommand(CLI::App& group) {
    auto options = std::make_shared<ExportOptions>();
    CLI::App* parser = group.add_subcommand("export", "Write a certificate, or a bundle with its key, to a new file");
    addStoreTargetOptions(*parser, options->target);
    parser->add_option("-o,--out", options->output, "File to write; it must not exist")->required()->check(namedFile());
    parser->add_flag("--der", options->der, "DER instead of PEM");
    parser->add_flag("--p12", options->bundle, "A PKCS#12 bundle with issuers and key, where the key may leave");
    parser->add_option("-p,--pass-file", options->passFile, "File whose first line is the pass phrase for the bundle")
        ->check(namedFile());
    parser->add_flag("-q,--quiet", options->quiet, "No warnings");
    return {parser, [options] { return runExport(*options); }};
}

} // namespace CmnCrypto::Cli
