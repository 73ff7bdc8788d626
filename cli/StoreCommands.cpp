#include "Commands.h"

namespace CmnCrypto::Cli {

std::vector<Command> addStoreCommands(CLI::App& app) {
    CLI::App* group =
        app.add_subcommand("store", "Certificate stores in a folder: what is in them, and what they select");
    group->require_subcommand(1);
    return {addStoreListCommand(*group),   addStoreFindCommand(*group),   addStoreExplainCommand(*group),
            addStoreShowCommand(*group),   addStoreVerifyCommand(*group), addStoreImportCommand(*group),
            addStoreExportCommand(*group), addStoreRemoveCommand(*group)};
}

} // namespace CmnCrypto::Cli
