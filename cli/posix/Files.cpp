#include "Files.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace CmnCrypto::Cli {

namespace {

FileStatus describe(const struct stat& found) noexcept {
    FileStatus status;
    status.kind = S_ISREG(found.st_mode)   ? FileKind::regular
                  : S_ISDIR(found.st_mode) ? FileKind::folder
                                           : FileKind::other;
    status.readableByOthers = (found.st_mode & (S_IRGRP | S_IROTH)) != 0;
    status.device = found.st_dev;
    status.number = found.st_ino;
    status.size = static_cast<uint64_t>(found.st_size);
    return status;
}

mode_t currentUmask() noexcept {
    const mode_t mask = ::umask(077);
    ::umask(mask);
    return mask;
}

} // namespace

bool statusOf(const std::string& name, FileStatus& status) {
    struct stat found = {};
    if (::stat(name.c_str(), &found) != 0) {
        return false;
    }
    status = describe(found);
    return true;
}

bool statusOf(int descriptor, FileStatus& status) noexcept {
    struct stat found = {};
    if (::fstat(descriptor, &found) != 0) {
        return false;
    }
    status = describe(found);
    return true;
}

bool isNameTaken(const std::string& name) {
    struct stat found = {};
    return ::lstat(name.c_str(), &found) == 0;
}

bool isFolderReadable(const std::string& folder) {
    return ::access(folder.c_str(), R_OK | X_OK) == 0;
}

std::string resolveLinks(const std::string& name) {
    const std::unique_ptr<char, decltype(&std::free)> real(::realpath(name.c_str(), nullptr), &std::free);
    return real ? real.get() : name;
}

std::string folderOf(const std::string& name) {
    const std::string folder = std::filesystem::path(name).parent_path().string();
    return folder.empty() ? "." : folder;
}

std::string temporaryFolder() {
    const char* folder = std::getenv("TMPDIR");
    return folder != nullptr && *folder != '\0' ? folder : "/tmp";
}

int openToRead(const std::string& name) {
    return ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
}

int openToWrite(const std::string& name) {
    return ::open(name.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
}

int createTemporaryFile(std::string& name, bool confidential) {
    const int file = ::mkostemp(name.data(), O_CLOEXEC);
    if (file >= 0 && !confidential && ::fchmod(file, 0666 & ~currentUmask()) != 0) {
        const int error = errno;
        ::unlink(name.c_str());
        ::close(file);
        errno = error;
        return -1;
    }
    return file;
}

ptrdiff_t readFrom(int descriptor, void* data, size_t size) noexcept {
    return ::read(descriptor, data, size);
}

ptrdiff_t writeTo(int descriptor, const void* data, size_t size) noexcept {
    return ::write(descriptor, data, size);
}

bool canWriteAtOnce(int descriptor) noexcept {
    pollfd waiting = {descriptor, POLLOUT, 0};
    int ready = 0;
    do {
        ready = ::poll(&waiting, 1, 0);
    } while (ready < 0 && errno == EINTR);
    return ready > 0;
}

bool rewindFile(int descriptor) noexcept {
    return ::lseek(descriptor, 0, SEEK_SET) == 0;
}

bool synchronize(int descriptor) noexcept {
    return ::fsync(descriptor) == 0;
}

void synchronizeFolder(const std::string& folder) {
    const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor >= 0) {
        ::fsync(descriptor);
        ::close(descriptor);
    }
}

bool closeFile(int descriptor) noexcept {
    return ::close(descriptor) == 0;
}

bool finishStandardOutput() noexcept {
    return closeFile(standardOutput);
}

bool renameReplacing(const std::string& from, const std::string& to) {
    return ::rename(from.c_str(), to.c_str()) == 0;
}

bool renameWithoutReplacing(const std::string& from, const std::string& to) {
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return false;
    }
    // File systems without that flag (some network ones) have hard links.
    return ::link(from.c_str(), to.c_str()) == 0 && ::unlink(from.c_str()) == 0;
}

bool removeFile(const char* name) noexcept {
    return ::unlink(name) == 0;
}

} // namespace CmnCrypto::Cli
