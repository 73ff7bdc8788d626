#include "encryption/FaultIn.h"

#include <cerrno>
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

namespace CmnCrypto::Encryption {

#ifdef MADV_POPULATE_WRITE

void faultIn(unsigned char* memory, size_t length) noexcept {
    static const auto pageSize = static_cast<uintptr_t>(sysconf(_SC_PAGESIZE));
    const auto begin = (reinterpret_cast<uintptr_t>(memory) + pageSize - 1) / pageSize * pageSize;
    const auto end = (reinterpret_cast<uintptr_t>(memory) + length) / pageSize * pageSize;
    const int kept = errno;
    if (begin < end) {
        static_cast<void>(madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_WRITE));
    }
    errno = kept;
}

#else

void faultIn(unsigned char* /*memory*/, size_t /*length*/) noexcept {}

#endif

} // namespace CmnCrypto::Encryption
