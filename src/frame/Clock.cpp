#include "frame/Clock.h"

namespace CmnCrypto {

std::time_t now() noexcept {
    return std::time(nullptr);
}

} // namespace CmnCrypto
