#ifndef CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_OPENFOLDER_H
#define CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_OPENFOLDER_H

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "cmncrypto/CertStorePlatform.h"
#include "frame/Failure.h"
#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/software/DigestCache.h"

namespace CmnCrypto::WinCertStore {

/** An open store: the files that were there when it was opened. */
struct OpenFolder {
    std::string path;
    bool readOnly = false;
    std::vector<std::string> files;
    DigestCache digests;
    std::set<std::string> olderKeys; ///< files that were added beside a key that stood there alone

    /** Notes a file that has come, at the end, so that a search under way goes on as it was. */
    void note(const std::string& file) {
        if (std::find(files.begin(), files.end(), file) == files.end()) {
            files.push_back(file);
        }
    }
};

/** What a new file of a store fails with where its name is taken, and for no other reason. */
constexpr int32_t codeNameTaken = codeReadFailed;

/** @return the error number for a failure of a new file */
inline uint32_t errorOfFile(const CmnException& failure) {
    switch (failure.getErrorCode()) {
    case codeAllocationFailed:
        return windowsNotEnoughMemory;
    case codeNameTaken:
        return windowsFileExists;
    default:
        return windowsAccessDenied;
    }
}

inline OpenFolder& openFolder(CertStoreHandle store) {
    return *static_cast<OpenFolder*>(store);
}

} // namespace CmnCrypto::WinCertStore

#endif
