#ifndef CMNCRYPTO_HASHING_PASSWORD_H
#define CMNCRYPTO_HASHING_PASSWORD_H

namespace CmnCrypto {

/** Fills @p size bytes with a random password of @p size - 1 letters and digits and a NUL; see generatePassword(). */
void writePassword(char* out, int size) noexcept;

} // namespace CmnCrypto

#endif
