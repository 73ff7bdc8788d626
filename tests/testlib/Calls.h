#ifndef CMNCRYPTO_TESTLIB_CALLS_H
#define CMNCRYPTO_TESTLIB_CALLS_H

#include <cstdlib>
#include <functional>
#include <memory>
#include <string>

#include "cmncrypto/types.h"

namespace testlib {

/** What a CmnException says that an operation throws, "<code> <message>", "text <string>" for a thrown string, or ""
 *  when it throws none. */
std::string thrown(const std::function<void()>& operation);

/** Runs a test's body in a process of its own: for what can be set once per process only. */
void inOwnProcess(const std::function<void()>& body);

struct Free {
    void operator()(void* memory) const noexcept { std::free(memory); }
};
/** What a flat function handed out. */
template <class T> using Allocated = std::unique_ptr<T, Free>;

constexpr _HASH_ALGO everyAlgorithm[] = {HASH_ALGO_SHA256, HASH_ALGO_SHA512, HASH_ALGO_SHA1, HASH_ALGO_MD5};
constexpr _HASH_ALGO noAlgorithms[] = {HASH_ALGO_NONE, _HASH_ALGO(5), _HASH_ALGO(-1), _HASH_ALGO(INT32_MAX)};

} // namespace testlib

#endif
