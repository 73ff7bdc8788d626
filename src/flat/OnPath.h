#ifndef CMNCRYPTO_FLAT_ONPATH_H
#define CMNCRYPTO_FLAT_ONPATH_H

#include <string>

#include "flat/FlatGuard.h"

namespace CmnCrypto {

/** Runs @p operation with the path as the classes take it; 20 for a null one. */
template <class Operation> int onPath(const char* function, const char* path, Operation&& operation) noexcept {
    return guarded(function, [&]() -> int {
        if (path == nullptr) {
            clogmsg(logFailure, function, "Invalid argument");
            return codeInvalidArgument;
        }
        return operation(path);
    });
}

} // namespace CmnCrypto

#endif
