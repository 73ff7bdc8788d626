#include "x509/PathExists.h"

#include <io.h>

namespace CmnCrypto {

bool pathExists(const std::string& path) noexcept {
    return ::_access(path.c_str(), 0) == 0;
}

} // namespace CmnCrypto
