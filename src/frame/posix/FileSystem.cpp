#include "frame/FileSystem.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace CmnCrypto {

std::FILE* openFile(const std::string& path, const char* mode) noexcept {
    return std::fopen(path.c_str(), mode);
}

std::FILE* createFile(const std::string& path) noexcept {
    return std::fopen(path.c_str(), "wbx"); // x: not a file that has appeared meanwhile
}

bool renameReplacing(const std::string& from, const std::string& to) noexcept {
    return ::rename(from.c_str(), to.c_str()) == 0;
}

bool renameWithoutReplacing(const std::string& from, const std::string& to) noexcept {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return false;
    }
    // File systems without that flag (some network ones) have hard links.
    return ::link(from.c_str(), to.c_str()) == 0 && ::unlink(from.c_str()) == 0;
}

int removeFile(const std::string& path) noexcept {
    return ::unlink(path.c_str());
}

bool pathExists(const std::string& path) noexcept {
    return ::access(path.c_str(), F_OK) == 0;
}

bool isLink(const std::string& path) noexcept {
    struct stat status {};
    return ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

uintmax_t regularFileSize(const std::string& path) noexcept {
    struct stat status {};
    const bool regular = ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    return regular ? static_cast<uintmax_t>(status.st_size) : 0;
}

} // namespace CmnCrypto
