#include "frame/FileSystem.h"

#include <cerrno>
#include <exception>
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <windows.h>

#include "frame/Wide.h"

namespace CmnCrypto {

namespace {

/** Calls with the path in wide characters. @return @p failed where memory is short */
template <typename Result, typename Call> Result withWide(const std::string& path, Result failed, Call call) noexcept {
    try {
        return call(wide(path).c_str());
    } catch (const std::exception&) {
        errno = ENOMEM;
        return failed;
    }
}

bool moveFile(const std::string& from, const std::string& to, DWORD how) noexcept {
    try {
        if (::MoveFileExW(wide(from).c_str(), wide(to).c_str(), how) != FALSE) {
            return true;
        }
        const DWORD error = ::GetLastError();
        errno = error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS ? EEXIST : EACCES;
    } catch (const std::exception&) {
        errno = ENOMEM;
    }
    return false;
}

} // namespace

std::FILE* openFile(const std::string& path, const char* mode) noexcept {
    return withWide<std::FILE*>(path, nullptr,
                                [mode](const wchar_t* name) { return ::_wfopen(name, wide(mode).c_str()); });
}

// This runtime's fopen() knows no exclusive mode.
std::FILE* createFile(const std::string& path) noexcept {
    return withWide<std::FILE*>(path, nullptr, [](const wchar_t* name) -> std::FILE* {
        constexpr int flags = _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY | _O_NOINHERIT;
        const int descriptor = ::_wsopen(name, flags, _SH_DENYNO, _S_IREAD | _S_IWRITE);
        std::FILE* const file = descriptor < 0 ? nullptr : ::_fdopen(descriptor, "wb");
        if (descriptor >= 0 && file == nullptr) {
            ::_close(descriptor);
            ::_wunlink(name);
        }
        return file;
    });
}

bool renameReplacing(const std::string& from, const std::string& to) noexcept {
    return moveFile(from, to, MOVEFILE_WRITE_THROUGH | MOVEFILE_REPLACE_EXISTING);
}

bool renameWithoutReplacing(const std::string& from, const std::string& to) noexcept {
    return moveFile(from, to, MOVEFILE_WRITE_THROUGH);
}

int removeFile(const std::string& path) noexcept {
    return withWide<int>(path, -1, [](const wchar_t* name) { return ::_wunlink(name); });
}

bool pathExists(const std::string& path) noexcept {
    return withWide<int>(path, -1, [](const wchar_t* name) { return ::_waccess(name, 0); }) == 0;
}

bool isLink(const std::string& path) noexcept {
    const DWORD attributes = withWide<DWORD>(path, INVALID_FILE_ATTRIBUTES, ::GetFileAttributesW);
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
}

uintmax_t regularFileSize(const std::string& path) noexcept {
    struct _stat64 status {};
    const int found = withWide<int>(path, -1, [&](const wchar_t* name) { return ::_wstat64(name, &status); });
    const bool regular = found == 0 && (status.st_mode & _S_IFMT) == _S_IFREG;
    return regular ? static_cast<uintmax_t>(status.st_size) : 0;
}

} // namespace CmnCrypto
