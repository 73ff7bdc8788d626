#include "frame/FileSystem.h"

#include <cerrno>
#include <cstring>
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
        const std::wstring source = wide(from);
        const std::wstring target = wide(to);
        DWORD error = ERROR_ACCESS_DENIED;
        // While somebody reads a file, or renames to its name, this is refused for a moment.
        for (int attempt = 0; attempt < 50 && (error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION);
             ++attempt) {
            if (::MoveFileExW(source.c_str(), target.c_str(), how) != FALSE) {
                return true;
            }
            error = ::GetLastError();
            ::Sleep(attempt < 10 ? 1 : 10); // milliseconds
        }
        errno = error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS ? EEXIST : EACCES;
    } catch (const std::exception&) {
        errno = ENOMEM;
    }
    return false;
}

} // namespace

// The runtime's fopen() would keep others from renaming the file meanwhile, and fail while they do.
std::FILE* openFile(const std::string& path, const char* mode) noexcept {
    return withWide<std::FILE*>(path, nullptr, [mode](const wchar_t* name) -> std::FILE* {
        constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
        const HANDLE handle =
            ::CreateFileW(name, GENERIC_READ, shareAll, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (handle == INVALID_HANDLE_VALUE) {
            const DWORD error = ::GetLastError();
            const bool refused = error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION;
            errno = refused ? EACCES : ENOENT;
            return nullptr;
        }
        const int kind = std::strchr(mode, 'b') != nullptr ? _O_BINARY : _O_TEXT;
        const int descriptor = ::_open_osfhandle(reinterpret_cast<intptr_t>(handle), _O_RDONLY | kind);
        std::FILE* const file = descriptor < 0 ? nullptr : ::_fdopen(descriptor, mode);
        if (file == nullptr) {
            descriptor < 0 ? static_cast<void>(::CloseHandle(handle)) : static_cast<void>(::_close(descriptor));
        }
        return file;
    });
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
