/** @file
 * What the command says: results on standard output, remarks and failures on standard error.
 */
#ifndef CMNCRYPTO_CLI_REPORT_H
#define CMNCRYPTO_CLI_REPORT_H

#include <string>

#include <nlohmann/json.hpp>

#include "Failure.h"

namespace CmnCrypto::Cli {

using Json = nlohmann::ordered_json;

/** Writes a text and a line feed to standard output. @throws Failure when it cannot be written whole */
void printLine(const std::string& text);

/** @return a document on one line; bytes that are no UTF-8 (of file names) are replaced */
std::string jsonText(const Json& document);

/** Writes a document on one line. @throws Failure */
void printJson(const Json& document);

/** The members "error", "code" (null without one) and "exit" of a failed result. */
void addFailure(Json& document, const Failure& failure);

/** Writes "cmncrypto: text" to standard error, erasing a progress bar first, made fit for a terminal by printable(). */
void printError(const std::string& text) noexcept;

/** Ends the use of standard output. @throws Failure when the system reports a late error (a full disk) */
void closeStandardOutput();

} // namespace CmnCrypto::Cli

#endif
