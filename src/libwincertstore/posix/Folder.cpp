#include "libwincertstore/software/Folder.h"

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <memory>
#include <sys/stat.h>

namespace CmnCrypto::WinCertStore {

EntryKind kindOfEntry(const std::string& path) noexcept {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) {
        return EntryKind::other;
    }
    if (S_ISREG(status.st_mode)) {
        return EntryKind::file;
    }
    return S_ISDIR(status.st_mode) ? EntryKind::folder : EntryKind::other;
}

// Not by the standard library's iterator, which ends the process where memory is short.
std::vector<std::string> namesIn(const std::string& folder) {
    struct Close {
        void operator()(DIR* open) const noexcept { ::closedir(open); }
    };
    std::vector<std::string> names;
    const std::unique_ptr<DIR, Close> open(::opendir(folder.c_str()));
    if (!open) {
        return names;
    }
    while (const dirent* const entry = ::readdir(open.get())) {
        if (entry->d_name[0] != '.') {
            names.emplace_back(entry->d_name);
        }
    }
    std::sort(names.begin(), names.end());
    errno = 0;
    return names;
}

} // namespace CmnCrypto::WinCertStore
