#include "Commands.h"

namespace CmnCrypto::Cli {

std::vector<Command> addCrlCommands(CLI::App& app) {
    CLI::App* group = app.add_subcommand("crl", "Revocation lists: show, convert, decide by one, find them");
    group->require_subcommand(1);
    return {addCrlShowCommand(*group), addCrlConvertCommand(*group), addCrlCheckCommand(*group),
            addCrlUrlsCommand(*group)};
}

} // namespace CmnCrypto::Cli
