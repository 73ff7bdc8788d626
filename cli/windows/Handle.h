/** @file
 * The system's handles.
 */
#ifndef CMNCRYPTO_CLI_HANDLE_H
#define CMNCRYPTO_CLI_HANDLE_H

#include <io.h>
#include <memory>
#include <windows.h>

namespace CmnCrypto::Cli {

struct HandleCloser {
    void operator()(HANDLE handle) const noexcept { ::CloseHandle(handle); }
};
using Handle = std::unique_ptr<void, HandleCloser>;

/** @return what stands behind a descriptor of the C runtime, which keeps it; INVALID_HANDLE_VALUE for nothing */
inline HANDLE handleOf(int descriptor) noexcept {
    return reinterpret_cast<HANDLE>(::_get_osfhandle(descriptor));
}

} // namespace CmnCrypto::Cli

#endif
