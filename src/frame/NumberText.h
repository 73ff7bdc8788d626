#ifndef CMNCRYPTO_FRAME_NUMBERTEXT_H
#define CMNCRYPTO_FRAME_NUMBERTEXT_H

#include <cstddef>
#include <string>

namespace CmnCrypto {

// Texts of numbers that may be secret: they are made in the caller's string, which the caller can wipe.

/** Replaces @p out by the bytes in lower-case hexadecimal, two digits each. */
void toHex(const unsigned char* data, size_t length, std::string& out);

/**
 * Replaces @p out by the bytes read as one big-endian unsigned integer in decimal, "0" for none.
 * @throws std::bad_alloc when memory is short
 */
void toDecimal(const unsigned char* data, size_t length, std::string& out);

} // namespace CmnCrypto

#endif
