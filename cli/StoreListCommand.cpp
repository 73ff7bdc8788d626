#include <memory>
#include <string>
#include <vector>

#include "Commands.h"
#include "StoreFolder.h"

namespace CmnCrypto::Cli {

namespace {

struct ListOptions {
    std::string folder;
    std::string name;
    bool json = false;
};

std::string countText(size_t count) {
    return count == 0 ? "no certificates" : count == 1 ? "1 certificate" : std::to_string(count) + " certificates";
}

ExitCode runList(const ListOptions& options) {
    const auto platform = useStores(options.folder);
    const std::vector<std::string> names =
        options.name.empty() ? platform->storeNames() : std::vector<std::string>{options.name};
    Json stores = Json::array();
    std::string text;
    for (const std::string& name : names) {
        Json contents = Json::array();
        std::string blocks;
        for (const auto& certificate : OpenedStore(platform, name).certificates()) {
            Details details;
            addStoreCertificate(certificate, details);
            contents.push_back(details.members());
            blocks += "\n\n" + details.text();
        }
        text += (text.empty() ? "" : "\n\n") + std::string("Store ") + printable(name) + ": " +
                countText(contents.size()) + blocks;
        stores.push_back({{"name", name}, {"certificates", contents}});
    }
    if (options.json) {
        printJson({{"store", options.folder.empty() ? Json() : Json(options.folder)}, {"stores", stores}});
    } else {
        printLine(names.empty() ? "no stores: each subfolder of " + printable(options.folder) + " would be one" : text);
    }
    return ExitCode::success;
}

} // namespace

Command addStoreListCommand(CLI::App& group) {
    auto options = std::make_shared<ListOptions>();
    CLI::App* parser = group.add_subcommand("list", "The stores of a folder and their certificates");
    addStoreOption(*parser, options->folder);
    parser->add_flag("--json", options->json, "Print the result as one JSON document");
    parser->add_option("NAME", options->name, "This store only");
    return {parser, [options] { return runList(*options); }};
}

} // namespace CmnCrypto::Cli
