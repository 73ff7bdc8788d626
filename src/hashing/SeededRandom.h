#ifndef CMNCRYPTO_HASHING_SEEDEDRANDOM_H
#define CMNCRYPTO_HASHING_SEEDEDRANDOM_H

#include <cstdint>

namespace CmnCrypto {

/**
 * Draws a 32-bit number, seeding OpenSSL's generator from the operating system first when it says that it is not
 * seeded.
 * @return four random bytes in machine byte order, 0 when the generator fails
 */
uint32_t seededRandom32() noexcept;

/**
 * Fills a buffer with random bytes.
 * @return false when an argument is bad or the generator fails, with OpenSSL's errors queued
 */
bool fillRandom(unsigned char* buffer, int length) noexcept;

} // namespace CmnCrypto

#endif
