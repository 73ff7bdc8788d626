/** @file
 * The subcommands: each adds itself to the command line and says how it is run.
 */
#ifndef CMNCRYPTO_CLI_COMMANDS_H
#define CMNCRYPTO_CLI_COMMANDS_H

#include <cstdint>
#include <functional>
#include <string>

#include <CLI/CLI.hpp>

#include "Failure.h"

namespace CmnCrypto::Cli {

/** A subcommand on the command line and its work. */
struct Command {
    CLI::App* parser;
    std::function<ExitCode()> run; ///< @throws Failure and the library's exceptions
};

Command addHashCommand(CLI::App& app);
Command addRandomCommand(CLI::App& app);
Command addPasswordCommand(CLI::App& app);
Command addEncryptCommand(CLI::App& app);
Command addDecryptCommand(CLI::App& app);
Command addFipsCommand(CLI::App& app);

/** @return a number of plain decimal digits within the bounds @throws Failure (usage) naming the option */
uint64_t parseCount(const std::string& option, const std::string& text, uint64_t minimum, uint64_t maximum);

} // namespace CmnCrypto::Cli

#endif
