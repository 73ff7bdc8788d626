#include <memory>
#include <string>

#include "Commands.h"
#include "LogPrinter.h"
#include "Report.h"
#include "cmncrypto/CmnApi.h"
#include "cmncrypto/HashGenerator.h"

namespace CmnCrypto::Cli {

namespace {

struct FipsOptions {
    bool enable = false;
    bool json = false;
};

ExitCode runFips(const FipsOptions& options) {
    if (options.enable) {
        captureFailures();
        CmnApi::initialize(1);
    } else {
        CmnApi::initOpenssl();
    }
    const bool on = CmnApi::getFIPSMode() != 0;
    // A configuration may ask for FIPS algorithms that no provider has: then this is refused as well.
    std::string digest;
    HashGenerator::generateHexHashForStr("", HASH_ALGO_SHA256, digest);
    const bool refused = CmnApi::testFipsCompliance() != 0;
    const Failure staysOff(
        ExitCode::negative,
        "FIPS mode: stays off: " + (latestFailure().empty() ? "OpenSSL gave no reason" : latestFailure()) +
            "; install and configure OpenSSL's FIPS provider (see fips_module(7))");
    const bool failed = options.enable && !on;
    if (options.json) {
        Json document = {{"fipsMode", on}, {"md5Refused", refused}};
        if (failed) {
            addFailure(document, staysOff);
        }
        printJson(document);
    } else {
        printLine(std::string("FIPS mode: ") + (on ? "on" : "off"));
        printLine(std::string("Self test: MD5 ") + (refused ? "is refused" : "works") + ", algorithms are " +
                  (refused ? "restricted" : "not restricted"));
    }
    if (failed) {
        printError(staysOff.what());
        return staysOff.exit();
    }
    return ExitCode::success;
}

} // namespace

Command addFipsCommand(CLI::App& app) {
    auto options = std::make_shared<FipsOptions>();
    CLI::App* parser = app.add_subcommand("fips", "FIPS mode of OpenSSL and its self test");
    parser->add_flag("--enable", options->enable, "Try to switch it on, for this call; exit code 1 when it stays off");
    parser->add_flag("--json", options->json, "Print the result as one JSON document");
    return {parser, [options] { return runFips(*options); }};
}

} // namespace CmnCrypto::Cli
