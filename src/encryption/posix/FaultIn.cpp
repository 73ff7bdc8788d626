#include "encryption/FaultIn.h"

#include <cerrno>
#include <cstdint>
#include <sys/mman.h>
#include <unistd.h>

namespace CmnCrypto::Encryption {

#ifdef MADV_POPULATE_WRITE

void faultIn(unsigned char* memory, size_t length) noexcept {
    static const auto pageSize = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    const size_t beyondPage = reinterpret_cast<uintptr_t>(memory) % pageSize;
    const size_t skipped = beyondPage == 0 ? 0 : pageSize - beyondPage;
    const size_t pages = length > skipped ? (length - skipped) / pageSize : 0;
    const int kept = errno;
    if (pages != 0) {
        static_cast<void>(madvise(memory + skipped, pages * pageSize, MADV_POPULATE_WRITE));
    }
    errno = kept;
}

#else

void faultIn(unsigned char* /*memory*/, size_t /*length*/) noexcept {}

#endif

} // namespace CmnCrypto::Encryption
