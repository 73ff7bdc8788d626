#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <sys/types.h>

#include "faults/Wrap.h"

// clang-format off: one line for each function
WRAP(recv, ssize_t, P4(int, void*, size_t, int), (errno = EIO, -1))
WRAP(send, ssize_t, P4(int, const void*, size_t, int), (errno = EIO, -1))
WRAP(fopen, FILE*, P2(const char*, const char*), (errno = EEXIST, nullptr))
WRAP(opendir, DIR*, P1(const char*), (errno = EACCES, nullptr))
WRAP(time, time_t, P1(time_t*), faults::stoppedAt())
WRAP_AS(_ZnwmRKSt9nothrow_t, "nothrow_new", void*, NEW_NOTHROW)
WRAP_AS(_ZnamRKSt9nothrow_t, "nothrow_new[]", void*, NEW_NOTHROW)
// clang-format on
