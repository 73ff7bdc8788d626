#include "GivenLists.h"

namespace CmnCrypto::Cli {

GivenLists::GivenLists(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        inputs.emplace_back(name, CrlInput::Extent::all);
    }
    for (const CrlInput& input : inputs) {
        for (const Crl& list : input.lists()) {
            if (list.isDeltaCRL()) {
                // OpenSSL would take it for a complete one, and as the newer one of the two.
                ++deltas;
                continue;
            }
            sources.push_back(&input);
            lists.push_back(&list);
        }
    }
}

void GivenLists::addTo(Details& details) const {
    if (deltas > 0) {
        details.problem("delta lists: " + std::to_string(deltas) + " left out, as they hold changes only");
    }
}

} // namespace CmnCrypto::Cli
