#include "frame/Wide.h"

#include <climits>
#include <new>
#include <windows.h>

namespace CmnCrypto {

namespace {

int lengthOf(size_t size) {
    if (size > INT_MAX) {
        throw std::bad_alloc();
    }
    return static_cast<int>(size);
}

} // namespace

std::wstring wide(const std::string& text) {
    const int length = lengthOf(text.size());
    std::wstring converted; // the caller's own, so that no second copy of a short password stays on the stack
    for (const UINT codePage : {UINT{CP_UTF8}, UINT{CP_ACP}}) {
        const DWORD strictly = codePage == CP_UTF8 ? MB_ERR_INVALID_CHARS : 0;
        const int size = ::MultiByteToWideChar(codePage, strictly, text.data(), length, nullptr, 0);
        if (size > 0) {
            converted.resize(static_cast<size_t>(size));
            ::MultiByteToWideChar(codePage, strictly, text.data(), length, converted.data(), size);
            break;
        }
    }
    return converted;
}

std::string narrow(const std::wstring& text) {
    const int length = lengthOf(text.size());
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string converted(static_cast<size_t>(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, converted.data(), size, nullptr, nullptr);
    return converted;
}

} // namespace CmnCrypto
