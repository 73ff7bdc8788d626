#include "StoreTarget.h"

#include <algorithm>

#include "LogPrinter.h"

namespace CmnCrypto::Cli {

namespace {

using namespace WinCertStore;

constexpr int codeNoPath = 8764;
constexpr std::ptrdiff_t fingerprintDigits = 40;

/** @return whether a text is a SHA-1 fingerprint, which no path can be: a path has backslashes */
bool isFingerprint(const std::string& text) {
    const bool allowed = text.find_first_not_of("0123456789abcdefABCDEF: ") == std::string::npos;
    const auto digits = std::count_if(text.begin(), text.end(), [](char c) { return c != ':' && c != ' '; });
    return allowed && digits == fingerprintDigits;
}

StoreTarget byFingerprint(StoreTarget target, const std::string& fingerprint) {
    for (const std::string& name : target.stores->storeNames()) {
        if (OpenedStore(target.stores, name).find(fingerprint, target.certificate)) {
            target.store = name;
            return target;
        }
    }
    throw Failure(ExitCode::negative, "no certificate with the fingerprint " + fingerprint + " in any store");
}

StoreTarget byPath(StoreTarget target, const std::string& path) {
    if (const std::string mistake = storePathMistake(path); !mistake.empty() || path.empty()) {
        throw Failure(ExitCode::usage,
                      "\"" + path +
                          "\": is neither a SHA-1 fingerprint nor a path: " + (path.empty() ? "it is empty" : mistake) +
                          "; give 40 hexadecimal digits, or a path in quotes for the shell: 'MY\\\\www.example'",
                      codeNoPath);
    }
    _selected_win_cert_store_path selected;
    const CertificateSelector selector(path, {});
    if (const int code = selector.GetCertificate(target.certificate, selected, false); code != 0) {
        refuseUnreadable(target.stores, path);
        throw Failure(ExitCode::negative,
                      path + ": selects no certificate: " + selectionText(code) +
                          "; store explain shows why, a fingerprint names any",
                      code);
    }
    target.store = selected.store_path.store_name;
    return target;
}

ExitCode exitOf(WinCertStoreError error) {
    switch (error) {
    case WIN_CERT_STORE_IMPORT_NOT_OPENED:
    case WIN_CERT_STORE_IMPORT_UNREADABLE:
        return ExitCode::inputUnreadable;
    case WIN_CERT_STORE_NO_PRIVATE_KEY:
    case WIN_CERT_STORE_KEY_NOT_ACQUIRED:
    case WIN_CERT_STORE_WRONG_PASSWORD:
    case WIN_CERT_STORE_KEY_NOT_EXPORTABLE:
        return ExitCode::keyUnusable;
    case WIN_CERT_STORE_EXPORT_NOT_WRITTEN:
    case WIN_CERT_STORE_IMPORT_NOT_ADDED:
        return ExitCode::outputUnwritable;
    case WIN_CERT_STORE_NOT_FOUND:
        return ExitCode::negative;
    default:
        return ExitCode::internal;
    }
}

} // namespace

void addStoreTargetOptions(CLI::App& parser, StoreTargetOptions& options) {
    addStoreOption(parser, options.folder);
    parser.add_flag("--json", options.json, "Print the result as one JSON document");
    parser
        .add_option("CERTIFICATE", options.name,
                    "SHA-1 fingerprint, 40 hexadecimal digits, or a path STORE\\ISSUER\\SUBJECT")
        ->required();
}

StoreTarget findStoreTarget(const StoreTargetOptions& options) {
    StoreTarget target{useStores(options.folder), {}, {}};
    return isFingerprint(options.name) ? byFingerprint(std::move(target), options.name)
                                       : byPath(std::move(target), options.name);
}

Failure storeFailure(WinCertStoreError error, const std::string& what) {
    const ExitCode exit = exitOf(error);
    std::string text = what + ": " + latestFailure();
    if (exit == ExitCode::outputUnwritable && firstFailure() != latestFailure()) {
        text += " (" + firstFailure() + ")"; // which names the file
    }
    if (error == WIN_CERT_STORE_EXPORT_NOT_WRITTEN) {
        text += "; choose a folder that exists and has room";
    }
    return {exit, text, WinCertStoreCommon::WinCertToQXError(error)};
}

} // namespace CmnCrypto::Cli
