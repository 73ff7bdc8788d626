#include "libwincertstore/software/Folder.h"

#include <algorithm>
#include <exception>
#include <memory>
#include <windows.h>

#include "frame/Wide.h"

namespace CmnCrypto::WinCertStore {

namespace {

struct CloseFile {
    void operator()(void* file) const noexcept { ::CloseHandle(file); }
};

struct CloseSearch {
    void operator()(void* search) const noexcept { ::FindClose(search); }
};

/** @return an owner, empty for what the system calls invalid */
template <class Close> std::unique_ptr<void, Close> owned(HANDLE handle) noexcept {
    return std::unique_ptr<void, Close>(handle != INVALID_HANDLE_VALUE ? handle : nullptr);
}

bool isHidden(const WIN32_FIND_DATAW& entry) {
    return entry.cFileName[0] == L'.' || (entry.dwFileAttributes & FILE_ATTRIBUTE_HIDDEN) != 0;
}

} // namespace

// By a handle, which follows links and knows devices whatever their names.
EntryKind kindOfEntry(const std::string& path) noexcept {
    constexpr DWORD shared = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    try {
        const auto file = owned<CloseFile>(::CreateFileW(wide(path).c_str(), FILE_READ_ATTRIBUTES, shared, nullptr,
                                                         OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
        BY_HANDLE_FILE_INFORMATION information{};
        if (!file || ::GetFileType(file.get()) != FILE_TYPE_DISK ||
            ::GetFileInformationByHandle(file.get(), &information) == FALSE) {
            return EntryKind::other;
        }
        const bool folder = (information.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        return folder ? EntryKind::folder : EntryKind::file;
    } catch (const std::exception&) { // memory is short
        return EntryKind::other;
    }
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    if (kindOfEntry(folder) != EntryKind::folder) {
        return names;
    }
    WIN32_FIND_DATAW entry{};
    const auto search = owned<CloseSearch>(::FindFirstFileW(wide(folder + "/*").c_str(), &entry));
    while (search) {
        if (!isHidden(entry)) {
            names.push_back(narrow(entry.cFileName));
        }
        if (::FindNextFileW(search.get(), &entry) == FALSE) {
            break;
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace CmnCrypto::WinCertStore
