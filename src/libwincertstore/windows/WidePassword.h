#ifndef CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_WIDEPASSWORD_H
#define CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_WIDEPASSWORD_H

#include <string>

#include "frame/Wide.h"
#include "ossl/OpenSsl.h"

namespace CmnCrypto::WinCertStore {

/** A password in wide characters, wiped with the object. */
class WidePassword {
public:
    explicit WidePassword(const std::string& text) : m_text(wide(text)) {}
    ~WidePassword() { OPENSSL_cleanse(m_text.data(), m_text.size() * sizeof(wchar_t)); }
    WidePassword(const WidePassword&) = delete;
    WidePassword& operator=(const WidePassword&) = delete;
    const wchar_t* get() const noexcept { return m_text.c_str(); }

private:
    std::wstring m_text;
};

} // namespace CmnCrypto::WinCertStore

#endif
