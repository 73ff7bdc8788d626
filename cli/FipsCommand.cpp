#include <algorithm>
#include <memory>
#include <string>

#include "Commands.h"
#include "Details.h"
#include "FipsProviders.h"
#include "FipsSelfTest.h"
#include "LogPrinter.h"
#include "cmncrypto/CmnApi.h"
#include "cmncrypto/HashGenerator.h"

namespace CmnCrypto::Cli {

namespace {

struct FipsOptions {
    bool json = false;
};

bool isActive(const std::vector<ProviderDescription>& providers, const std::string& name) {
    return std::any_of(providers.begin(), providers.end(),
                       [&name](const ProviderDescription& provider) { return provider.name == name; });
}

/** A configuration may ask for FIPS algorithms that no provider has, or for a provider that does not come up. */
bool digestsWork() {
    try {
        std::string digest;
        return HashGenerator::generateHexHashForStr("", HASH_ALGO_SHA256, digest);
    } catch (const std::exception&) {
        return false;
    }
}

std::string whyOnOrOff(bool on, const FipsAvailability& fips) {
    if (on) {
        return "in force from the start: the configuration file asks for FIPS algorithms (default_properties)";
    }
    return fips.available ? "nobody has switched it on: a host does that when it starts"
                          : "it cannot be switched on: there is no FIPS provider that works";
}

void addProviders(const std::vector<ProviderDescription>& providers, Details& details) {
    Json texts = Json::array();
    Json documents = Json::array();
    for (const ProviderDescription& provider : providers) {
        texts.push_back(provider.text());
        documents.push_back(provider.json());
    }
    details.add("Active providers", "", providers.empty() ? Json("none") : texts);
    details.add("", "providers", documents);
}

void addConfiguration(Details& details) {
    const std::string file = configurationFile();
    details.add("Configuration file", "", file.empty() ? "none" : file);
    details.add("", "configurationFile", file.empty() ? Json() : Json(file));
    details.add("Modules folder", "modulesFolder", modulesFolder());
    if (const std::string mistake = configurationMistake(file); !mistake.empty()) {
        details.problem("OpenSSL does without its configuration file: " + mistake);
    }
}

void addAvailability(const FipsAvailability& fips, Details& details) {
    details.add("FIPS provider", "", fips.available ? fips.provider.text() : fips.state + ": " + fips.reason);
    details.add("", "fipsProvider",
                {{"state", fips.state},
                 {"version", fips.available ? Json(fips.provider.version) : Json()},
                 {"reason", fips.available ? Json() : Json(fips.reason)}});
}

void addProblems(bool on, bool refused, const std::vector<ProviderDescription>& providers, Details& details) {
    if (!digestsWork()) {
        details.problem("nothing works: the configuration file asks for a provider or for FIPS algorithms that are not "
                        "there");
    } else if (!isActive(providers, "default") && !isActive(providers, "base")) {
        details.problem("keys and certificates cannot be read: activate \"base\" or \"default\" beside \"fips\" in the "
                        "configuration file");
    } else if (!on && refused) {
        details.problem("FIPS mode is off, and yet there are FIPS algorithms alone: the configuration file activates "
                        "\"fips\" without \"default\"");
    } else if (!on && isActive(providers, "fips")) {
        details.problem("FIPS mode is off, and yet the FIPS provider may serve: the configuration file activates "
                        "\"fips\", which a host that switches FIPS mode on does not need");
    }
}

ExitCode runStatus(const FipsOptions& options) {
    CmnApi::initOpenssl();
    const bool on = CmnApi::getFIPSMode() != 0;
    const bool refused = CmnApi::testFipsCompliance() != 0;
    const FipsAvailability fips;
    const std::vector<ProviderDescription> providers = activeProviders();
    Details details;
    details.add("FIPS mode", "", on ? "on" : "off");
    details.add("", "fipsMode", on);
    details.add("", "inForceFromStart", on); // nothing has switched it since
    details.add("Reason", "reason", whyOnOrOff(on, fips));
    details.add("MD5", "", refused ? "refused" : "works");
    details.add("", "md5Refused", refused);
    addProviders(providers, details);
    addAvailability(fips, details);
    addConfiguration(details);
    addProblems(on, refused, providers, details);
    details.print(options.json);
    return digestsWork() ? ExitCode::success : ExitCode::internal;
}

/** Prints why it stays off. */
ExitCode staysOff(const FipsOptions& options, const FipsAvailability& fips) {
    const std::string why = fips.available ? latestFailure() : fips.state + ": " + fips.reason;
    const Failure failure(ExitCode::negative,
                          "FIPS mode: stays off: " + why + "; see cmncrypto fips status and fips_module(7)");
    if (options.json) {
        Json document = {{"fipsMode", false}};
        addFailure(document, failure);
        printJson(document);
    }
    printError(failure.what());
    return failure.exit();
}

/** Prints the answers. @return whether all are right */
bool printResults(const std::vector<SelfTestResult>& results, bool before, bool json) {
    Details details;
    Json documents = Json::array();
    for (const SelfTestResult& result : results) {
        details.add(result.name, "", result.passed ? "passed" : "FAILED");
        documents.push_back({{"name", result.name}, {"passed", result.passed}});
    }
    const bool passed =
        std::all_of(results.begin(), results.end(), [](const SelfTestResult& result) { return result.passed; });
    details.add("", "fipsMode", true);
    details.add("", "inForceFromStart", before);
    details.add("", "checks", documents);
    details.add("All passed", "passed", passed);
    const bool after = CmnApi::getFIPSMode() != 0;
    details.add("FIPS mode now", "", std::string(after ? "on" : "off") + (after == before ? ", as before" : ""));
    details.print(json);
    return passed;
}

ExitCode runTest(const FipsOptions& options) {
    captureFailures();
    CmnApi::initOpenssl();
    const bool before = CmnApi::getFIPSMode() != 0;
    const FipsAvailability fips; // now, as a failed self test is not explained a second time
    CmnApi::initialize(1);
    if (CmnApi::getFIPSMode() == 0) {
        return staysOff(options, fips);
    }
    const std::vector<SelfTestResult> results = runFipsSelfTest();
    CmnApi::initialize(before ? 1 : 0);
    return printResults(results, before, options.json) ? ExitCode::success : ExitCode::internal;
}

} // namespace

std::vector<Command> addFipsCommands(CLI::App& app) {
    auto options = std::make_shared<FipsOptions>();
    CLI::App* group = app.add_subcommand("fips", "FIPS mode of OpenSSL: its state, and a test of it");
    group->require_subcommand(0, 1);
    CLI::App* status = group->add_subcommand("status", "Say what is in force and why; so does fips alone");
    CLI::App* test = group->add_subcommand("test", "Switch FIPS mode on for this call and compare known answers; exit "
                                                   "code 1 when it stays off");
    for (CLI::App* parser : {group, status, test}) {
        parser->add_flag("--json", options->json, "Print the result as one JSON document");
    }
    // The group is "parsed" with each of its subcommands, so it comes last.
    return {{test, [options] { return runTest(*options); }},
            {status, [options] { return runStatus(*options); }},
            {group, [options] { return runStatus(*options); }}};
}

} // namespace CmnCrypto::Cli
