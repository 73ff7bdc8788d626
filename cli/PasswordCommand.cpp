#include <memory>
#include <string>

#include "Commands.h"
#include "Report.h"
#include "Secret.h"
#include "cmncrypto/RandomNumberGenerator.h"
#include "cmncrypto/cmncrypto.h"

namespace CmnCrypto::Cli {

namespace {

/** The longest that a pass-phrase file takes. */
constexpr uint64_t maximalLength = 1022;
constexpr uint64_t maximalCount = 10000;

struct PasswordOptions {
    std::string length = "20";
    std::string count = "1";
    bool json = false;
};

ExitCode runPassword(const PasswordOptions& options) {
    const auto length = static_cast<size_t>(parseCount("--length", options.length, 1, maximalLength));
    const uint64_t count = parseCount("--count", options.count, 1, maximalCount);
    Json passwords = Json::array();
    for (uint64_t i = 0; i < count; ++i) {
        // generatePassword() cannot report a generator that fails; this call does, by an exception.
        unsigned char probe = 0;
        RandomNumberGenerator::generateRandomBytes(&probe, 1);
        Secret password(length + 1);
        generatePassword(password.data(), static_cast<int>(password.size()));
        password.shorten(length);
        if (options.json) {
            passwords.push_back(password.text());
        } else {
            printLine(password.text());
        }
    }
    if (options.json) {
        printJson({{"length", length}, {"passwords", passwords}});
    }
    return ExitCode::success;
}

} // namespace

Command addPasswordCommand(CLI::App& app) {
    auto options = std::make_shared<PasswordOptions>();
    CLI::App* parser = app.add_subcommand("password", "Random passwords of letters and digits");
    parser->add_option("-l,--length", options->length, "Number of characters")->capture_default_str();
    parser->add_option("-c,--count", options->count, "Number of passwords")->capture_default_str();
    parser->add_flag("--json", options->json, "Print the result as one JSON document");
    return {parser, [options] { return runPassword(*options); }};
}

} // namespace CmnCrypto::Cli
