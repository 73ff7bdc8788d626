#include <memory>
#include <new>
#include <string>
#include <vector>

#include <openssl/x509v3.h>

#include "CertificateInput.h"
#include "Commands.h"
#include "LogPrinter.h"
#include "PemInput.h"
#include "Printable.h"
#include "ReasonOption.h"
#include "Report.h"
#include "cmncrypto/CrlUtil.h"

namespace CmnCrypto::Cli {

namespace {

constexpr int noMemoryForUrls = 36; ///< the library's code

struct CrlUrlOptions {
    CertificateOptions certificate;
    std::vector<std::string> reasons;
    bool allSchemes = false;
    bool verbose = false;
};

struct Found {
    unsigned int points = 0;
    std::vector<std::string> urls;
};

Found findUrls(const CrlUrlOptions& options, const X509* certificate) {
    Found found;
    const auto find = options.allSchemes ? CrlUtil::getURLsFromCertCDPs : CrlUtil::getHttpURLsFromCertCDPs;
    const int code = find(certificate, reasonBits(options.reasons), found.points, found.urls);
    if (code == noMemoryForUrls) {
        throw std::bad_alloc();
    }
    if (code != 0) {
        throw Failure(ExitCode::inputUnreadable,
                      inputLabel(options.certificate.input) +
                          ": a CRL distribution point cannot be read; --verbose says which",
                      code);
    }
    // A malformed extension is none for the library.
    if (found.points == 0 && X509_get_ext_by_NID(certificate, NID_crl_distribution_points, -1) >= 0) {
        printError("warning: " + inputLabel(options.certificate.input) +
                   ": its CRL distribution points are malformed or empty");
    }
    return found;
}

/** A URL with its server and port, where it has them. */
void addUrl(const std::string& url, Json& urls, std::string& lines) {
    std::string server;
    int port = -1;
    constexpr int highestPort = 65535;
    const bool split = CrlUtil::parseURL(url, server, port) == 0 && port > 0 && port <= highestPort;
    urls.push_back({{"url", url}, {"server", split ? Json(server) : Json()}, {"port", split ? Json(port) : Json()}});
    lines += (lines.empty() ? "" : "\n") + printable(url) +
             (split ? "\t" + printable(server) + "\t" + std::to_string(port) : "");
}

ExitCode runCrlUrls(const CrlUrlOptions& options) {
    const CertificateInput input(options.certificate.input);
    if (options.verbose) {
        startLog("info"); // what the library says about each distribution point
    }
    const Found found = findUrls(options, input.leaf().getX509());
    Json urls = Json::array();
    std::string lines;
    for (const std::string& url : found.urls) {
        addUrl(url, urls, lines);
    }
    if (options.certificate.json) {
        printJson({{"input", options.certificate.input},
                   {"reasons", options.reasons},
                   {"distributionPoints", found.points},
                   {"urls", urls}});
    } else if (!found.urls.empty()) {
        printLine(lines);
    }
    if (found.urls.empty()) {
        printError(inputLabel(options.certificate.input) +
                   (found.points == 0 ? ": has no CRL distribution points"
                                      : ": none of the " + std::to_string(found.points) +
                                            " CRL distribution points serves; --verbose says why"));
    }
    return found.urls.empty() ? ExitCode::negative : ExitCode::success;
}

} // namespace

Command addCrlUrlsCommand(CLI::App& group) {
    auto options = std::make_shared<CrlUrlOptions>();
    CLI::App* parser =
        group.add_subcommand("urls", "URLs, servers and ports of the revocation lists that cover a certificate");
    addReasonOption(*parser, options->reasons);
    parser->add_flag("--all-schemes", options->allSchemes, "Not only HTTP and HTTPS, but LDAP and others too");
    parser->add_flag("-v,--verbose", options->verbose, "Say what was found in each distribution point, and why not");
    addCertificateOptions(*parser, options->certificate);
    return {parser, [options] { return runCrlUrls(*options); }};
}

} // namespace CmnCrypto::Cli
