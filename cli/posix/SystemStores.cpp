#include "SystemStores.h"

namespace CmnCrypto::Cli {

bool hasSystemStores() noexcept {
    return false;
}

std::vector<std::string> systemStoreNames() {
    return {};
}

} // namespace CmnCrypto::Cli
