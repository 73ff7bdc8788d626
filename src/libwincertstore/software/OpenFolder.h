#ifndef CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_OPENFOLDER_H
#define CMNCRYPTO_LIBWINCERTSTORE_SOFTWARE_OPENFOLDER_H

#include <string>
#include <vector>

#include "cmncrypto/CertStorePlatform.h"

namespace CmnCrypto::WinCertStore {

/** An open store: the files that were there when it was opened. */
struct OpenFolder {
    std::string path;
    bool readOnly = false;
    std::vector<std::string> files;
};

inline OpenFolder& openFolder(CertStoreHandle store) {
    return *static_cast<OpenFolder*>(store);
}

} // namespace CmnCrypto::WinCertStore

#endif
