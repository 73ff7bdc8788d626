#include "frame/FileSystem.h"

#include <sys/stat.h>
#include <unistd.h>

namespace CmnCrypto {

std::FILE* openFile(const std::string& path, const char* mode) noexcept {
    return std::fopen(path.c_str(), mode);
}

std::FILE* createFile(const std::string& path) noexcept {
    return std::fopen(path.c_str(), "wbx"); // x: not a file that has appeared meanwhile
}

int removeFile(const std::string& path) noexcept {
    return ::unlink(path.c_str());
}

bool pathExists(const std::string& path) noexcept {
    return ::access(path.c_str(), F_OK) == 0;
}

uintmax_t regularFileSize(const std::string& path) noexcept {
    struct stat status {};
    const bool regular = ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    return regular ? static_cast<uintmax_t>(status.st_size) : 0;
}

} // namespace CmnCrypto
