/** @file
 * Begin and end of the process.
 */
#ifndef CMNCRYPTO_CLI_PROCESS_H
#define CMNCRYPTO_CLI_PROCESS_H

#include <string>
#include <vector>

namespace CmnCrypto::Cli {

/** Makes the three standard streams fit for bytes, and keeps their numbers from being taken by other files. */
void prepareStandardStreams();

/** @return the command line in UTF-8, without the name of the program */
std::vector<std::string> commandLine(int argc, char** argv);

/** Ends the process at once, also out of a signal handler. */
[[noreturn]] void endProcess(int exitCode) noexcept;

} // namespace CmnCrypto::Cli

#endif
