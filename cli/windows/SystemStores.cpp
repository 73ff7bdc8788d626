#include "SystemStores.h"

#include "frame/Wide.h"

// The second one needs the types of the first.
// clang-format off
#include <windows.h>
#include <wincrypt.h>
// clang-format on

namespace CmnCrypto::Cli {

namespace {

BOOL WINAPI addName(const void* name, DWORD, PCERT_SYSTEM_STORE_INFO, void*, void* names) try {
    static_cast<std::vector<std::string>*>(names)->push_back(narrow(static_cast<const wchar_t*>(name)));
    return TRUE;
} catch (...) {
    return FALSE; // no exception may pass through the system
}

} // namespace

bool hasSystemStores() noexcept {
    return true;
}

std::vector<std::string> systemStoreNames() {
    std::vector<std::string> names;
    ::CertEnumSystemStore(CERT_SYSTEM_STORE_LOCAL_MACHINE, nullptr, &names, &addName);
    return names;
}

} // namespace CmnCrypto::Cli
