#ifndef CMNCRYPTO_FRAME_HEX_H
#define CMNCRYPTO_FRAME_HEX_H

#include <cstddef>
#include <string>

namespace CmnCrypto {

/** Replaces @p out by the bytes in lower-case hexadecimal, two digits each. */
void toHex(const unsigned char* data, size_t length, std::string& out);

} // namespace CmnCrypto

#endif
