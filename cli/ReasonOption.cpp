#include "ReasonOption.h"

#include <algorithm>
#include <iterator>

#include "cmncrypto/Crl.h"

namespace CmnCrypto::Cli {

void addReasonOption(CLI::App& parser, std::vector<std::string>& names) {
    std::vector<std::string> known(std::begin(crlReasonFlagNames) + 1, std::end(crlReasonFlagNames));
    known.emplace_back("all");
    parser.add_option("-r,--reason", names, "The list must cover this reason too; may be repeated")
        ->check(CLI::IsMember(known))
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->allow_extra_args(false);
}

std::bitset<9> reasonBits(const std::vector<std::string>& names) {
    std::bitset<9> bits;
    for (const std::string& name : names) {
        if (name == "all") {
            bits.set();
            continue;
        }
        const auto* const found = std::find(std::begin(crlReasonFlagNames), std::end(crlReasonFlagNames), name);
        bits.set(static_cast<size_t>(found - std::begin(crlReasonFlagNames)));
    }
    return bits;
}

} // namespace CmnCrypto::Cli
