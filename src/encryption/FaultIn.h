#ifndef CMNCRYPTO_ENCRYPTION_FAULTIN_H
#define CMNCRYPTO_ENCRYPTION_FAULTIN_H

#include <cstddef>

namespace CmnCrypto::Encryption {

/**
 * Asks the system to back memory that is about to be written to, all at once: page by page, at the first touch of
 * each, takes as long as decrypting what goes there. Only a hint: where it is refused nothing is lost.
 */
void faultIn(unsigned char* memory, size_t length) noexcept;

} // namespace CmnCrypto::Encryption

#endif
