#include "frame/windows/OwnerRights.h"

#include <exception>
#include <string>
#include <type_traits>

// clang-format off: the other needs it
#include <windows.h>
// clang-format on
#include <sddl.h>

namespace CmnCrypto {

namespace {

/** @return the identifier of the account that this process runs as; "" on failure */
std::wstring ownAccount() {
    HANDLE opened = nullptr;
    if (::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &opened) == FALSE) {
        return {};
    }
    const std::unique_ptr<std::remove_pointer_t<HANDLE>, decltype(&::CloseHandle)> token(opened, &::CloseHandle);
    alignas(TOKEN_USER) unsigned char user[sizeof(TOKEN_USER) + SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof user;
    LPWSTR text = nullptr;
    if (::GetTokenInformation(opened, TokenUser, user, size, &size) == FALSE ||
        ::ConvertSidToStringSidW(reinterpret_cast<const TOKEN_USER*>(user)->User.Sid, &text) == FALSE) {
        return {};
    }
    const std::unique_ptr<wchar_t, LocalMemoryDeleter> owner(text);
    return text;
}

} // namespace

SecurityDescriptorPtr ownerRights() noexcept {
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    try {
        const std::wstring account = ownAccount();
        if (!account.empty()) {
            const std::wstring list = L"D:P(A;;FA;;;" + account + L")(A;;FA;;;SY)";
            ::ConvertStringSecurityDescriptorToSecurityDescriptorW(list.c_str(), SDDL_REVISION_1, &descriptor, nullptr);
        }
    } catch (const std::exception&) {
        ::SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    }
    return SecurityDescriptorPtr(descriptor);
}

} // namespace CmnCrypto
