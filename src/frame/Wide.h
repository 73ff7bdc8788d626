#ifndef CMNCRYPTO_FRAME_WIDE_H
#define CMNCRYPTO_FRAME_WIDE_H

#include <string>

namespace CmnCrypto {

/**
 * On Windows alone: a text as the system's wide calls take it.
 * @param text in UTF-8; what is none counts as text of the ANSI code page, as file names given to OpenSSL do
 * @throws std::bad_alloc
 */
std::wstring wide(const std::string& text);

/** @return a wide text in UTF-8 @throws std::bad_alloc */
std::string narrow(const std::wstring& text);

} // namespace CmnCrypto

#endif
