/** @file
 * The subcommands: each adds itself to the command line and says how it is run.
 */
#ifndef CMNCRYPTO_CLI_COMMANDS_H
#define CMNCRYPTO_CLI_COMMANDS_H

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Failure.h"

namespace CmnCrypto::Cli {

/** A subcommand on the command line and its work. */
struct Command {
    CLI::App* parser;              ///< of a subcommand in a group: its own, not the group's
    std::function<ExitCode()> run; ///< @throws Failure and the library's exceptions
};

Command addHashCommand(CLI::App& app);
Command addRandomCommand(CLI::App& app);
Command addPasswordCommand(CLI::App& app);
Command addEncryptCommand(CLI::App& app);
Command addDecryptCommand(CLI::App& app);
Command addSignCommand(CLI::App& app);
Command addVerifySignatureCommand(CLI::App& app);
Command addVerifyCommand(CLI::App& app);

/** @name Groups: one command for each of their own subcommands
 * @{ */
std::vector<Command> addCertCommands(CLI::App& app);
std::vector<Command> addChainCommands(CLI::App& app);
std::vector<Command> addCrlCommands(CLI::App& app);
std::vector<Command> addKeyCommands(CLI::App& app);
std::vector<Command> addCsrCommands(CLI::App& app);
std::vector<Command> addPkcs12Commands(CLI::App& app);
std::vector<Command> addStoreCommands(CLI::App& app);
std::vector<Command> addTlsCommands(CLI::App& app);
std::vector<Command> addFipsCommands(CLI::App& app);
/** @} */

/** @name What the groups "cert", "chain", "crl", "store" and "tls" consist of
 * @{ */
Command addCertShowCommand(CLI::App& group);
Command addCertFingerprintCommand(CLI::App& group);
Command addCertUrlsCommand(CLI::App& group);
Command addCertCheckCommand(CLI::App& group);
Command addCertSaveCommand(CLI::App& group);
Command addSelfSignedCommand(CLI::App& group);
Command addChainShowCommand(CLI::App& group);
Command addChainSplitCommand(CLI::App& group);
Command addChainSaveCommand(CLI::App& group);
Command addCrlShowCommand(CLI::App& group);
Command addCrlConvertCommand(CLI::App& group);
Command addCrlCheckCommand(CLI::App& group);
Command addCrlUrlsCommand(CLI::App& group);
Command addStoreListCommand(CLI::App& group);
Command addStoreFindCommand(CLI::App& group);
Command addStoreExplainCommand(CLI::App& group);
Command addStoreShowCommand(CLI::App& group);
Command addStoreVerifyCommand(CLI::App& group);
Command addStoreImportCommand(CLI::App& group);
Command addStoreExportCommand(CLI::App& group);
Command addStoreRemoveCommand(CLI::App& group);
Command addTlsServeCommand(CLI::App& group);
Command addTlsConnectCommand(CLI::App& group);
/** @} */

/** Adds the option FILE for any number of names. */
void addFileNames(CLI::App& parser, const std::string& description, std::vector<std::string>& names);

/** @return a number of plain decimal digits within the bounds @throws Failure (usage) naming the option */
uint64_t parseCount(const std::string& option, const std::string& text, uint64_t minimum, uint64_t maximum);

} // namespace CmnCrypto::Cli

#endif
