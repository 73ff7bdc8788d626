#include "frame/Assertion.h"

#include <cstdlib>

#include "frame/Logging.h"

namespace CmnCrypto {

void assertionFailed(const char* function, const char* condition, const char* file, int line, const char* message) {
    clogmsg(logFailure, function, "ASSERT Failed: condition(%s) File Name = \"%s\" Line Number = [%d] with message[%s]",
            condition, file, line, message);
    std::abort();
}

} // namespace CmnCrypto
