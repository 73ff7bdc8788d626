/** @file
 * Text of strangers, made fit for a terminal.
 */
#ifndef CMNCRYPTO_CLI_PRINTABLE_H
#define CMNCRYPTO_CLI_PRINTABLE_H

#include <string>

namespace CmnCrypto::Cli {

/** What becomes of a backslash: names that OpenSSL wrote have escapes of their own, which stay as they are. */
enum class Backslash { escape, keep };

/**
 * Makes bytes visible that would act on a terminal or be misread: control characters, what turns the direction of
 * writing or cannot be seen, and what is no UTF-8 ("\n", "\x1B", "\u{202E}"). Other UTF-8 stays.
 */
std::string printable(const std::string& bytes, Backslash backslash = Backslash::escape);

} // namespace CmnCrypto::Cli

#endif
