#ifndef CMNCRYPTO_FLAT_FLATGUARD_H
#define CMNCRYPTO_FLAT_FLATGUARD_H

#include <exception>
#include <new>

#include "frame/Failure.h"

namespace CmnCrypto {

/**
 * Runs the body of a flat function and keeps every exception inside: hosts of the flat interface handle integer
 * codes only.
 * @return what the body returns; a CmnException's own code; 36 when memory is short; -1 for anything else
 */
template <class Body> int guarded(const char* function, Body&& body) noexcept {
    try {
        return body();
    } catch (const CmnException& failure) {
        return failure.getErrorCode(); // logged where it was thrown
    } catch (const std::bad_alloc&) {
        clogmsg(logFailure, function, "Failed to allocate memory.");
        return codeNoMemory;
    } catch (const std::exception& failure) {
        clogmsg(logFailure, function, "Unexpected failure: %s", failure.what());
        return CmnException::noCode;
    } catch (...) {
        clogmsg(logFailure, function, "Unexpected failure.");
        return CmnException::noCode;
    }
}

/** As guarded(), for functions that answer 0 for every failure. */
template <class Body> int guardedOrZero(const char* function, Body&& body) noexcept {
    int result = 0;
    guarded(function, [&] {
        result = body();
        return 0;
    });
    return result;
}

} // namespace CmnCrypto

#endif
