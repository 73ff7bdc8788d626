#include <cerrno>
#include <cstdio>
#include <winsock2.h>

#include "faults/Wrap.h"

// These are called through pointers that the import libraries define. Plans name them as elsewhere.
#define WRAP_IMPORTED_EXPANDED(symbol, name, result, parameters, arguments, failure)                                   \
    extern "C" result(*__real___imp_##symbol) parameters;                                                              \
    extern "C" result wrapper_of_##symbol parameters {                                                                 \
        return faults::strikes(name) ? (failure) : __real___imp_##symbol arguments;                                    \
    }                                                                                                                  \
    extern "C" result(*__wrap___imp_##symbol) parameters;                                                              \
    result(*__wrap___imp_##symbol) parameters = wrapper_of_##symbol;
#define WRAP_IMPORTED(...) WRAP_IMPORTED_EXPANDED(__VA_ARGS__)

// clang-format off: one line for each function
WRAP_IMPORTED(recv, "recv", int, P4(SOCKET, char*, int, int), (WSASetLastError(WSAENETRESET), -1))
WRAP_IMPORTED(send, "send", int, P4(SOCKET, const char*, int, int), (WSASetLastError(WSAENETRESET), -1))
WRAP_IMPORTED(_fdopen, "fopen", FILE*, P2(int, const char*), (errno = EEXIST, nullptr))
WRAP_IMPORTED(_time64, "time", time_t, P1(time_t*), faults::stoppedAt())
WRAP_AS(_ZnwyRKSt9nothrow_t, "nothrow_new", void*, NEW_NOTHROW)
WRAP_AS(_ZnayRKSt9nothrow_t, "nothrow_new[]", void*, NEW_NOTHROW)
// clang-format on
