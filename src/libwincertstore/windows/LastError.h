#ifndef CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_LASTERROR_H
#define CMNCRYPTO_LIBWINCERTSTORE_WINDOWS_LASTERROR_H

#include <cstdint>
#include <windows.h>

namespace CmnCrypto::WinCertStore {

/** @return the error of the call that has just failed, never 0; to be asked before anything is logged, since whatever
 *          else calls the system may change it */
inline uint32_t lastError() noexcept {
    const DWORD error = ::GetLastError();
    return error != ERROR_SUCCESS ? error : ERROR_GEN_FAILURE;
}

/** @return 0 for a call that succeeded, otherwise its error */
inline uint32_t errorOf(BOOL succeeded) noexcept {
    return succeeded != FALSE ? 0 : lastError();
}

} // namespace CmnCrypto::WinCertStore

#endif
