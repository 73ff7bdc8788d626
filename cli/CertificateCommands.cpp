#include "Commands.h"

namespace CmnCrypto::Cli {

std::vector<Command> addCertCommands(CLI::App& app) {
    CLI::App* group = app.add_subcommand("cert", "Certificates: show, check, compare, save, make");
    group->require_subcommand(1);
    return {addCertShowCommand(*group), addCertCheckCommand(*group), addCertFingerprintCommand(*group),
            addCertUrlsCommand(*group), addCertSaveCommand(*group),  addSelfSignedCommand(*group)};
}

std::vector<Command> addChainCommands(CLI::App& app) {
    CLI::App* group = app.add_subcommand("chain", "Certificate chains: show, split, save");
    group->require_subcommand(1);
    return {addChainShowCommand(*group), addChainSplitCommand(*group), addChainSaveCommand(*group)};
}

} // namespace CmnCrypto::Cli
