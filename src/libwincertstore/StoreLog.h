#ifndef CMNCRYPTO_LIBWINCERTSTORE_STORELOG_H
#define CMNCRYPTO_LIBWINCERTSTORE_STORELOG_H

#include <cstdint>
#include <initializer_list>
#include <new>
#include <string_view>

#include "cmncrypto/WinCertStoreCommon.h"
#include "frame/Failure.h"

namespace CmnCrypto::WinCertStore {

/** Logs the joined @p parts as a failure; where nobody listens nothing is joined. */
void logFailureOf(const char* function, std::initializer_list<std::string_view> parts) noexcept;

/** Traces the joined @p parts; where nobody listens nothing is joined. */
void traceOf(const char* function, std::initializer_list<std::string_view> parts) noexcept;

/** Logs the joined @p parts and a Windows error number in hexadecimal as a failure. */
void logWindowsErrorOf(const char* function, std::initializer_list<std::string_view> parts, uint32_t error) noexcept;

/** Traces a text and a Windows error number in hexadecimal; where nobody listens nothing is formatted. */
void traceWindowsErrorOf(const char* function, std::initializer_list<std::string_view> parts, uint32_t error) noexcept;

/** A store could not be searched, which has been logged: no answer about what it holds. Where nobody tells it apart it
 *  counts as memory that is short, which ends an operation as well. */
class SearchFailure : public std::bad_alloc {
public:
    const char* what() const noexcept override { return "the store could not be searched"; }
};

/**
 * Runs @p body and keeps memory that is short inside: the store's functions never throw.
 * @return what the body returns, @p code with a message when memory is short
 */
template <class Body, class Result> Result withoutThrowing(const char* function, Result code, Body&& body) noexcept {
    try {
        return body();
    } catch (const SearchFailure&) {
        return code;
    } catch (const std::bad_alloc&) {
        clogmsg(logFailure, function, "Memory allocation failed.");
        return code;
    }
}

} // namespace CmnCrypto::WinCertStore

#endif
