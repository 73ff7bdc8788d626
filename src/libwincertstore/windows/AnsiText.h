#ifndef CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_ANSITEXT_H
#define CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_ANSITEXT_H

#include <string>

namespace CmnCrypto::WinCertStore {

/**
 * Converts a text for the system's narrow calls, which take the ANSI code page.
 * @param text as wide() takes it
 * @return false where a character has no place in that code page: better nothing than a similar name
 * @throws std::bad_alloc
 */
bool toAnsi(const std::string& text, std::string& ansi);

/** @return a text that a narrow call has given, in UTF-8 @throws std::bad_alloc */
std::string fromAnsi(const std::string& text);

} // namespace CmnCrypto::WinCertStore

#endif
