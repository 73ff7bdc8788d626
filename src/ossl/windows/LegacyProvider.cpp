#include "ossl/LegacyProvider.h"

#include <exception>
#include <string>
#include <windows.h>

namespace CmnCrypto::ossl {

namespace {

constexpr const char* name = "legacy";

/** @return the folder that OpenSSL's library was loaded from, with the separator behind it; "" if that is not known */
std::wstring folderOfOpenSsl() {
    HMODULE library = nullptr;
    constexpr DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    // Of data, as the address of a function may be that of this module's way to it.
    const void* const within = OPENSSL_info(OPENSSL_INFO_MODULES_DIR);
    if (::GetModuleHandleExW(flags, static_cast<LPCWSTR>(within), &library) == FALSE) {
        return {};
    }
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = ::GetModuleFileNameW(library, path.data(), static_cast<DWORD>(path.size()));
        if (length < path.size()) {
            path.resize(length);
            return path.substr(0, path.find_last_of(L"\\/") + 1);
        }
        path.resize(path.size() * 2);
    }
}

/** OpenSSL would load it by a name in the ANSI code page, which need not have all characters of the folder's. */
OSSL_provider_init_fn* entryBesideOpenSsl() {
    const std::wstring folder = folderOfOpenSsl();
    if (folder.empty()) {
        return nullptr;
    }
    // Never unloaded, as providers of the process may come and go.
    HMODULE module = ::LoadLibraryExW((folder + L"ossl-modules\\legacy.dll").c_str(), nullptr, 0);
    const FARPROC entry = module != nullptr ? ::GetProcAddress(module, "OSSL_provider_init") : nullptr;
    return reinterpret_cast<OSSL_provider_init_fn*>(reinterpret_cast<void*>(entry));
}

} // namespace

OpenSslPtr<OSSL_PROVIDER> loadLegacyProvider(OSSL_LIB_CTX* context) noexcept {
    OpenSslPtr<OSSL_PROVIDER> provider(OSSL_PROVIDER_load(context, name));
    if (!provider) {
        try {
            OSSL_provider_init_fn* const entry = entryBesideOpenSsl();
            if (entry != nullptr && OSSL_PROVIDER_add_builtin(context, name, entry) == 1) {
                provider.reset(OSSL_PROVIDER_load(context, name));
            }
        } catch (const std::exception&) { // no memory: as if it were not there
        }
    }
    return provider;
}

} // namespace CmnCrypto::ossl
