// What the store asks the system beside certificates: the machine's name, bytes out of digits, texts of errors.

#include <climits>
#include <cstring>

#include "frame/Wide.h"
#include "libwincertstore/HostName.h"
#include "libwincertstore/StoreLog.h"
#include "libwincertstore/WindowsErrors.h"
#include "libwincertstore/windows/LastError.h"
#include "libwincertstore/windows/WindowsCertStore.h"
#include "libwincertstore/windows/WindowsContext.h"

namespace CmnCrypto::WinCertStore {

uint32_t WindowsCertStore::computerName(HostnameType type, char* buffer, uint32_t size) {
    return withoutThrowing("WindowsCertStore::computerName", windowsNotEnoughMemory, [&]() -> uint32_t {
        const std::string name = hostName(type);
        if (name.empty()) {
            return lastError();
        }
        if (name.size() >= size) {
            return windowsMoreData;
        }
        std::memcpy(buffer, name.c_str(), name.size() + 1);
        return 0;
    });
}

uint32_t WindowsCertStore::hexToBinary(const std::string& digits, std::vector<unsigned char>& bytes) {
    if (digits.empty() || digits.size() > ULONG_MAX) {
        return windowsInvalidParameter; // the call takes 0 for a text that ends by itself
    }
    const auto length = static_cast<DWORD>(digits.size());
    bytes.resize(digits.size()); // more than there can be
    auto size = static_cast<DWORD>(bytes.size());
    const uint32_t error =
        errorOf(::CryptStringToBinaryA(digits.data(), length, CRYPT_STRING_HEX, bytes.data(), &size, nullptr, nullptr));
    bytes.resize(error == 0 ? size : 0);
    return error;
}

std::string WindowsCertStore::errorText(uint32_t error) {
    constexpr DWORD flags =
        FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS | FORMAT_MESSAGE_MAX_WIDTH_MASK; // in one line
    wchar_t text[1024];
    DWORD length = ::FormatMessageW(flags, nullptr, error, 0, text, sizeof text / sizeof *text, nullptr);
    while (length > 0 && text[length - 1] <= L' ') {
        --length;
    }
    return length > 0 ? narrow(std::wstring(text, length)) : "Windows error " + std::to_string(error) + ".";
}

} // namespace CmnCrypto::WinCertStore
