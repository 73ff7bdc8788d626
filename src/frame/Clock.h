#ifndef CMNCRYPTO_FRAME_CLOCK_H
#define CMNCRYPTO_FRAME_CLOCK_H

#include <ctime>

namespace CmnCrypto {

/** @return the present second; the one place where the library asks for it */
std::time_t now() noexcept;

} // namespace CmnCrypto

#endif
