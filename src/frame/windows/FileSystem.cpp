#include "frame/FileSystem.h"

#include <cerrno>
#include <exception>
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

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

int removeFile(const std::string& path) noexcept {
    return withWide<int>(path, -1, [](const wchar_t* name) { return ::_wunlink(name); });
}

bool pathExists(const std::string& path) noexcept {
    return withWide<int>(path, -1, [](const wchar_t* name) { return ::_waccess(name, 0); }) == 0;
}

uintmax_t regularFileSize(const std::string& path) noexcept {
    struct _stat64 status {};
    const int found = withWide<int>(path, -1, [&](const wchar_t* name) { return ::_wstat64(name, &status); });
    const bool regular = found == 0 && (status.st_mode & _S_IFMT) == _S_IFREG;
    return regular ? static_cast<uintmax_t>(status.st_size) : 0;
}

} // namespace CmnCrypto
