#ifndef CMNCRYPTO_HASHING_SYSTEMENTROPY_H
#define CMNCRYPTO_HASHING_SYSTEMENTROPY_H

#include <cstddef>

namespace CmnCrypto {

/** Fills a buffer from the operating system's generator. @return false when it gives nothing */
bool readSystemEntropy(unsigned char* buffer, size_t length) noexcept;

} // namespace CmnCrypto

#endif
