#include "x509/PathExists.h"

#include <unistd.h>

namespace CmnCrypto {

bool pathExists(const std::string& path) noexcept {
    return ::access(path.c_str(), F_OK) == 0;
}

} // namespace CmnCrypto
