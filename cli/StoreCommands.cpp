#include "Commands.h"

namespace CmnCrypto::Cli {

std::vector<Command> addStoreCommands(CLI::App& app) {
    CLI::App* group = app.add_subcommand("store", "Certificate stores in a folder: list, find, explain a selection");
    group->require_subcommand(1);
    return {addStoreListCommand(*group), addStoreFindCommand(*group), addStoreExplainCommand(*group)};
}

} // namespace CmnCrypto::Cli
