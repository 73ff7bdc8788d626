#include "Commands.h"

namespace CmnCrypto::Cli {

std::vector<Command> addTlsCommands(CLI::App& app) {
    CLI::App* group = app.add_subcommand("tls", "TLS: serve, and find out what a server offers");
    group->require_subcommand(1);
    return {addTlsServeCommand(*group), addTlsConnectCommand(*group)};
}

} // namespace CmnCrypto::Cli
