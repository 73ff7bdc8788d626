#include "x509/OwnerFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace CmnCrypto {

std::FILE* createOwnerFile(const std::string& path) noexcept {
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR);
    std::FILE* const file = descriptor < 0 ? nullptr : ::fdopen(descriptor, "wb");
    if (descriptor >= 0 && file == nullptr) {
        ::close(descriptor);
        ::unlink(path.c_str());
    }
    return file;
}

} // namespace CmnCrypto
