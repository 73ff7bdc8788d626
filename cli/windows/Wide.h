/** @file
 * Texts as the system's wide calls take them.
 */
#ifndef CMNCRYPTO_CLI_WIDE_H
#define CMNCRYPTO_CLI_WIDE_H

#include <string>

namespace CmnCrypto::Cli {

/** @param text in UTF-8; what is none becomes U+FFFD */
std::wstring wide(const std::string& text);
/** @return the text in UTF-8 */
std::string narrow(const std::wstring& text);

} // namespace CmnCrypto::Cli

#endif
