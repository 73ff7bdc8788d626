/** @file
 * The system's error numbers as values of errno, by which the command tells failures apart.
 */
#ifndef CMNCRYPTO_CLI_ERRORNUMBERS_H
#define CMNCRYPTO_CLI_ERRORNUMBERS_H

namespace CmnCrypto::Cli {

/** @param error of GetLastError() @return EIO for what has no value of its own */
int errnoOfSystem(unsigned long error) noexcept;
/** @param error of WSAGetLastError() @return the number itself for what has no value of its own */
int errnoOfSocket(int error) noexcept;

} // namespace CmnCrypto::Cli

#endif
