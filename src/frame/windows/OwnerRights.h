#ifndef CMNCRYPTO_FRAME_WINDOWS_OWNERRIGHTS_H
#define CMNCRYPTO_FRAME_WINDOWS_OWNERRIGHTS_H

#include <memory>
#include <windows.h>

namespace CmnCrypto {

struct LocalMemoryDeleter {
    void operator()(void* memory) const noexcept { ::LocalFree(memory); }
};
using SecurityDescriptorPtr = std::unique_ptr<void, LocalMemoryDeleter>;

/**
 * What new files get that nobody else may read: full control for the account of this process and for the system, and
 * nothing inherited from the folder.
 * @return null on failure, with GetLastError()
 */
SecurityDescriptorPtr ownerRights() noexcept;

} // namespace CmnCrypto

#endif
