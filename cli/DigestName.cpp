#include "DigestName.h"

#include <array>

namespace CmnCrypto::Cli {

namespace {

struct Digest {
    const char* name;
    _HASH_ALGO value;
};

constexpr std::array<Digest, 3> digests = {
    {{"SHA256", HASH_ALGO_SHA256}, {"SHA512", HASH_ALGO_SHA512}, {"SHA1", HASH_ALGO_SHA1}}};

} // namespace

std::vector<std::string> digestNames() {
    std::vector<std::string> names;
    names.reserve(digests.size() + 1);
    for (const Digest& digest : digests) {
        names.emplace_back(digest.name);
    }
    return names;
}

_HASH_ALGO digestOf(const std::string& name) {
    for (const Digest& digest : digests) {
        if (name == digest.name) {
            return digest.value;
        }
    }
    return HASH_ALGO_NONE;
}

void addDigestOption(CLI::App& parser, std::string& name, const std::string& further) {
    std::vector<std::string> names = digestNames();
    if (!further.empty()) {
        names.push_back(further);
    }
    parser.add_option("-a,--algorithm", name, "Digest")->check(CLI::IsMember(names))->capture_default_str();
}

} // namespace CmnCrypto::Cli
