#include "Files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <io.h>
#include <random>
#include <windows.h>

#include "ErrorNumbers.h"
#include "Handle.h"
#include "frame/Wide.h"
#include "frame/windows/OwnerRights.h"

namespace CmnCrypto::Cli {

namespace {

bool fail() noexcept {
    errno = errnoOfSystem(::GetLastError());
    return false;
}

bool succeeded(BOOL result) noexcept {
    return result != 0 || fail();
}

/** As long as the command has a file open, others may do with it what they like, as on other systems. */
constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

/** @return null with errno set */
Handle open(const std::string& name, DWORD access, DWORD disposition, SECURITY_ATTRIBUTES* rights = nullptr) {
    // Without that flag no folder can be opened, not even to see that it is one.
    const DWORD flags = FILE_ATTRIBUTE_NORMAL | FILE_FLAG_BACKUP_SEMANTICS;
    Handle handle(::CreateFileW(wide(name).c_str(), access, shareAll, rights, disposition, flags, nullptr));
    if (handle.get() == INVALID_HANDLE_VALUE) {
        static_cast<void>(handle.release());
        fail();
    }
    return handle;
}

int descriptorOf(Handle handle, int flags) noexcept {
    if (!handle) {
        return -1;
    }
    const int descriptor =
        ::_open_osfhandle(reinterpret_cast<intptr_t>(handle.get()), flags | _O_BINARY | _O_NOINHERIT);
    if (descriptor >= 0) {
        static_cast<void>(handle.release());
    }
    return descriptor;
}

/** @return false with errno set for what is no handle */
bool describe(HANDLE handle, FileStatus& status) noexcept {
    BY_HANDLE_FILE_INFORMATION found = {};
    status = {};
    status.kind = FileKind::other;
    const DWORD type = ::GetFileType(handle);
    if (type == FILE_TYPE_UNKNOWN) {
        errno = EBADF;
        return false;
    }
    if (type != FILE_TYPE_DISK || ::GetFileInformationByHandle(handle, &found) == 0) {
        return true; // a file that was opened to be written, and nothing else, need not tell
    }
    status.kind = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 ? FileKind::folder : FileKind::regular;
    status.device = found.dwVolumeSerialNumber;
    status.number = uint64_t{found.nFileIndexHigh} << 32 | found.nFileIndexLow;
    status.size = uint64_t{found.nFileSizeHigh} << 32 | found.nFileSizeLow;
    return true;
}

/** What is no file but a device or pipe. To open it is to use it. */
bool isDeviceName(const std::string& name) {
    return name.compare(0, 4, R"(\\.\)") == 0 || name.compare(0, 4, "//./") == 0;
}

/** Behind this prefix nothing is read as it is elsewhere: a slash separates nothing there, and a dot is a name. */
constexpr wchar_t verbatim[] = L"\\\\?\\";

bool isVerbatim(const std::string& name) {
    return name.compare(0, 4, R"(\\?\)") == 0;
}

/** Large pieces are too much for some consoles. */
unsigned int pieceOf(size_t size) noexcept {
    return static_cast<unsigned int>(std::min<size_t>(size, size_t{32} * 1024));
}

} // namespace

bool statusOf(const std::string& name, FileStatus& status) {
    if (isDeviceName(name)) {
        status = {};
        status.kind = FileKind::other;
        return true;
    }
    const Handle handle = open(name, FILE_READ_ATTRIBUTES, OPEN_EXISTING);
    return handle && describe(handle.get(), status);
}

bool statusOf(int descriptor, FileStatus& status) noexcept {
    return describe(handleOf(descriptor), status);
}

bool isNameTaken(const std::string& name) {
    return ::GetFileAttributesW(wide(name).c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool isFolderReadable(const std::string& folder) {
    return open(folder, FILE_LIST_DIRECTORY, OPEN_EXISTING) != nullptr;
}

std::string resolveLinks(const std::string& name) {
    const Handle handle = open(name, FILE_READ_ATTRIBUTES, OPEN_EXISTING);
    std::wstring path(32768, L'\0');
    const DWORD length =
        handle ? ::GetFinalPathNameByHandleW(handle.get(), path.data(), 32768, FILE_NAME_NORMALIZED) : 0;
    path.resize(length < path.size() ? length : 0);
    if (isVerbatim(name)) {
        return path.empty() ? name : narrow(path);
    }
    constexpr wchar_t remote[] = L"\\\\?\\UNC\\";
    if (path.rfind(remote, 0) == 0) {
        return narrow(L"\\" + path.substr(7));
    }
    return path.empty() ? name : narrow(path.substr(path.rfind(verbatim, 0) == 0 ? 4 : 0));
}

std::string folderOf(const std::string& name) {
    if (isVerbatim(name)) {
        return name.substr(0, name.rfind('\\'));
    }
    const size_t separator = name.find_last_of("/\\:");
    return separator == std::string::npos ? "." : name.substr(0, separator + 1) + ".";
}

std::string temporaryFolder() {
    std::array<wchar_t, MAX_PATH + 1> path = {};
    const DWORD length = ::GetTempPathW(MAX_PATH, path.data());
    return length == 0 || length > MAX_PATH ? "." : narrow({path.data(), length});
}

int openToRead(const std::string& name) {
    return descriptorOf(open(name, GENERIC_READ, OPEN_EXISTING), _O_RDONLY);
}

int openToWrite(const std::string& name) {
    return descriptorOf(open(name, GENERIC_WRITE, OPEN_EXISTING), _O_WRONLY);
}

int createTemporaryFile(std::string& name, bool confidential) {
    const SecurityDescriptorPtr owner = confidential ? ownerRights() : nullptr;
    if (confidential && !owner) {
        fail();
        return -1;
    }
    if (isVerbatim(name)) {
        std::replace(name.begin(), name.end(), '/', '\\');
    }
    SECURITY_ATTRIBUTES rights = {sizeof rights, owner.get(), FALSE}; // of none a new file has those of its folder
    constexpr char letters[] = "abcdefghijklmnopqrstuvwxyz0123456789";
    std::random_device random;
    std::uniform_int_distribution<size_t> choice(0, sizeof letters - 2);
    int descriptor = -1;
    for (int attempt = 0; attempt < 100 && descriptor < 0 && (attempt == 0 || errno == EEXIST); ++attempt) {
        std::generate(name.end() - 6, name.end(), [&] { return letters[choice(random)]; });
        descriptor = descriptorOf(open(name, GENERIC_READ | GENERIC_WRITE, CREATE_NEW, &rights), _O_RDWR);
    }
    return descriptor;
}

ptrdiff_t readFrom(int descriptor, void* data, size_t size) noexcept {
    return ::_read(descriptor, data, pieceOf(size));
}

ptrdiff_t writeTo(int descriptor, const void* data, size_t size) noexcept {
    DWORD written = 0;
    const HANDLE handle = handleOf(descriptor);
    if (::WriteFile(handle, data, pieceOf(size), &written, nullptr) == 0) {
        fail();
        return -1;
    }
    return static_cast<ptrdiff_t>(written);
}

bool canWriteAtOnce(int descriptor) noexcept {
    return ::GetFileType(handleOf(descriptor)) == FILE_TYPE_DISK; // of all others it cannot be told
}

bool rewindFile(int descriptor) noexcept {
    return ::_lseeki64(descriptor, 0, SEEK_SET) == 0;
}

bool synchronize(int descriptor) noexcept {
    return succeeded(::FlushFileBuffers(handleOf(descriptor)));
}

void synchronizeFolder(const std::string&) {} // names are written through where they are given

bool closeFile(int descriptor) noexcept {
    return ::_close(descriptor) == 0;
}

bool finishStandardOutput() noexcept {
    const HANDLE handle = handleOf(standardOutput); // to flush or close a pipe may be to wait for its reader
    return ::GetFileType(handle) != FILE_TYPE_DISK || succeeded(::FlushFileBuffers(handle));
}

bool renameReplacing(const std::string& from, const std::string& to) {
    return succeeded(
        ::MoveFileExW(wide(from).c_str(), wide(to).c_str(), MOVEFILE_WRITE_THROUGH | MOVEFILE_REPLACE_EXISTING));
}

bool renameWithoutReplacing(const std::string& from, const std::string& to) {
    return succeeded(::MoveFileExW(wide(from).c_str(), wide(to).c_str(), MOVEFILE_WRITE_THROUGH));
}

bool removeFile(const char* name) noexcept {
    try {
        return succeeded(::DeleteFileW(wide(name).c_str()));
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return false;
    }
}

} // namespace CmnCrypto::Cli
