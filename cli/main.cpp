#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstring>
#include <sstream>
#include <vector>

#include <openssl/crypto.h>

#include "Commands.h"
#include "Interrupt.h"
#include "LogPrinter.h"
#include "Process.h"
#include "Report.h"

namespace CmnCrypto::Cli {

namespace {

constexpr char exitCodes[] = R"(Exit codes:
  0    success
  1    negative answer: a digest differs, a certificate fails its check or is revoked, ...
  2    the command line makes no sense
  3    an input cannot be read
  4    the output cannot be written
  5    the output exists already (--force replaces it)
  6    key, pass phrase or IV unusable
  7    the stream is refused: not authentic, wrong padding, cut short
  8    failure inside the library or OpenSSL
  9    stale: the revocation list is too old to tell
  10   cannot tell: no revocation list that covers the certificate and can be relied on
  130  interrupted

Outputs appear whole or not at all; a failed decryption leaves nothing.)";

/** Known before the command line is parsed, so that a wrong one is answered in the wanted form too. */
bool wantsJson(const std::vector<std::string>& arguments) {
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    return std::find(arguments.begin(), end, "--json") != end;
}

std::vector<Command> addCommands(CLI::App& app) {
    std::vector<Command> commands;
    for (const auto& add : {addHashCommand, addRandomCommand, addPasswordCommand, addEncryptCommand, addDecryptCommand,
                            addSignCommand, addVerifySignatureCommand, addVerifyCommand}) {
        commands.push_back(add(app));
    }
    for (const auto& addGroup : {addCertCommands, addChainCommands, addCrlCommands, addKeyCommands, addCsrCommands,
                                 addPkcs12Commands, addStoreCommands, addTlsCommands, addFipsCommands}) {
        const std::vector<Command> group = addGroup(app);
        commands.insert(commands.end(), group.begin(), group.end());
    }
    return commands;
}

/** @return what is wrong, with the unknown word where a misspelt subcommand seems to be missing */
std::string mistake(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<std::string> unknown = app.remaining(true);
    return error.what() + (unknown.empty() || error.get_name() != "RequiredError"
                               ? ""
                               : ", and \"" + unknown.front() + "\" is unknown");
}

ExitCode parseAndRun(const std::vector<std::string>& arguments) {
    CLI::App app(
        "Digests, random numbers, encrypted streams, certificates and their stores, revocation, keys and TLS through "
        "libcmncryptocore",
        "cmncrypto");
    std::string logLevel = "none";
    app.set_version_flag("--version",
                         std::string("cmncrypto " CMNCRYPTO_VERSION ", ") + OpenSSL_version(OPENSSL_VERSION));
    app.add_option("--log-level", logLevel, "Messages of the library on standard error, up to this level")
        ->check(CLI::IsMember(logLevelNames()))
        ->capture_default_str();
    app.require_subcommand(1);
    app.fallthrough();                                    // global options may follow the subcommand
    app.footer("cmncrypto --help lists the exit codes."); // inherited by the subcommands
    const std::vector<Command> commands = addCommands(app);
    app.footer(exitCodes);
    try {
        app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend())); // CLI11 begins with the last
    } catch (const CLI::ParseError& answer) {
        std::ostringstream out;
        std::ostringstream ignored;
        if (answer.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            app.exit(answer, out, ignored);
            std::string text = out.str();
            text.erase(text.find_last_not_of('\n') + 1);
            printLine(text);
            return ExitCode::success;
        }
        throw Failure(ExitCode::usage, "command line: " + mistake(app, answer) +
                                           "; see cmncrypto --help and cmncrypto SUBCOMMAND --help");
    }
    startLog(logLevel);
    const auto chosen =
        std::find_if(commands.begin(), commands.end(), [](const Command& command) { return command.parser->parsed(); });
    return chosen->run();
}

void reportFailure(const Failure& failure, bool json) {
    printError(failure.what());
    if (json) {
        try {
            Json document;
            addFailure(document, failure);
            printJson(document);
        } catch (...) {
            return; // standard output is what failed; the exit code still tells
        }
    }
}

ExitCode execute(int argc, char** argv) {
    bool json = false;
    try {
        prepareStandardStreams();
        const std::vector<std::string> arguments = commandLine(argc, argv);
        json = wantsJson(arguments);
        installSignalHandlers(json);
        const ExitCode exit = parseAndRun(arguments);
        closeStandardOutput();
        return exit;
    } catch (...) {
        const Failure failure = currentFailure();
        reportFailure(failure, json);
        return failure.exit();
    }
}

} // namespace

void addFileNames(CLI::App& parser, const std::string& description, std::vector<std::string>& names) {
    // An option that "allows extra arguments" would split a name in square brackets as a list; one that wants very many
    // and is content with fewer takes names as they are.
    parser.add_option("FILE", names, description)
        ->expected(CLI::detail::expected_max_vector_size, CLI::detail::expected_max_vector_size)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
}

uint64_t parseCount(const std::string& option, const std::string& text, uint64_t minimum, uint64_t maximum) {
    uint64_t value = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < minimum || value > maximum) {
        throw Failure(ExitCode::usage, option + ": \"" + text + "\" is no number from " + std::to_string(minimum) +
                                           " to " + std::to_string(maximum));
    }
    return value;
}

} // namespace CmnCrypto::Cli

int main(int argc, char** argv) {
    try {
        return static_cast<int>(CmnCrypto::Cli::execute(argc, argv));
    } catch (...) {
        return static_cast<int>(CmnCrypto::Cli::ExitCode::internal);
    }
}
