#include "Wide.h"

#include <climits>
#include <new>
#include <windows.h>

namespace CmnCrypto::Cli {

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
    const int size = ::MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
    std::wstring converted(static_cast<size_t>(size), L'\0');
    ::MultiByteToWideChar(CP_UTF8, 0, text.data(), length, converted.data(), size);
    return converted;
}

std::string narrow(const std::wstring& text) {
    const int length = lengthOf(text.size());
    const int size = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
    std::string converted(static_cast<size_t>(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, converted.data(), size, nullptr, nullptr);
    return converted;
}

} // namespace CmnCrypto::Cli
