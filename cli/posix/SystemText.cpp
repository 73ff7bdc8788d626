#include "SystemText.h"

#include <system_error>

namespace CmnCrypto::Cli {

std::string systemText(int error) {
    return std::generic_category().message(error);
}

} // namespace CmnCrypto::Cli
