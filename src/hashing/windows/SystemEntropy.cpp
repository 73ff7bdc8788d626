#include "hashing/SystemEntropy.h"

#include <windows.h>

namespace CmnCrypto {

bool readSystemEntropy(unsigned char* buffer, size_t length) noexcept {
    HCRYPTPROV provider = 0;
    if (CryptAcquireContextA(&provider, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT) == FALSE) {
        return false;
    }
    const BOOL filled = CryptGenRandom(provider, static_cast<DWORD>(length), buffer);
    CryptReleaseContext(provider, 0);
    return filled != FALSE;
}

} // namespace CmnCrypto
