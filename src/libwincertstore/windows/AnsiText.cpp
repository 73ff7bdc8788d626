#include "libwincertstore/windows/AnsiText.h"

#include <climits>
#include <new>
#include <windows.h>

#include "frame/Wide.h"

namespace CmnCrypto::WinCertStore {

namespace {

int lengthOf(size_t size) {
    if (size > INT_MAX) {
        throw std::bad_alloc();
    }
    return static_cast<int>(size);
}

} // namespace

bool toAnsi(const std::string& text, std::string& ansi) {
    const std::wstring characters = wide(text);
    if (::GetACP() == CP_UTF8) { // which has all characters, and allows no such questions
        ansi = narrow(characters);
        return true;
    }
    const int length = lengthOf(characters.size());
    BOOL replaced = FALSE;
    const int size =
        ::WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, characters.data(), length, nullptr, 0, nullptr, &replaced);
    ansi.assign(static_cast<size_t>(size), '\0');
    ::WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, characters.data(), length, ansi.data(), size, nullptr,
                          &replaced);
    return replaced == FALSE;
}

std::string fromAnsi(const std::string& text) {
    const int length = lengthOf(text.size());
    std::wstring characters(text.size(), L'\0'); // of which there are never more than bytes
    const int size = ::MultiByteToWideChar(CP_ACP, 0, text.data(), length, characters.data(), length);
    characters.resize(static_cast<size_t>(size));
    return narrow(characters);
}

} // namespace CmnCrypto::WinCertStore
