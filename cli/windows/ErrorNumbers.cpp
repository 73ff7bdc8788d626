#include "ErrorNumbers.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <winsock2.h>

namespace CmnCrypto::Cli {

namespace {

template <class Number> struct Row {
    Number system;
    int value;
};

constexpr std::array<Row<unsigned long>, 28> systemErrors = {{{ERROR_FILE_NOT_FOUND, ENOENT},
                                                              {ERROR_PATH_NOT_FOUND, ENOENT},
                                                              {ERROR_INVALID_NAME, ENOENT},
                                                              {ERROR_INVALID_DRIVE, ENOENT},
                                                              {ERROR_BAD_PATHNAME, ENOENT},
                                                              {ERROR_BAD_NETPATH, ENOENT},
                                                              {ERROR_BAD_NET_NAME, ENOENT},
                                                              {ERROR_CANT_RESOLVE_FILENAME, ENOENT},
                                                              {ERROR_ACCESS_DENIED, EACCES},
                                                              {ERROR_SHARING_VIOLATION, EACCES},
                                                              {ERROR_LOCK_VIOLATION, EACCES},
                                                              {ERROR_PRIVILEGE_NOT_HELD, EACCES},
                                                              {ERROR_FILE_EXISTS, EEXIST},
                                                              {ERROR_ALREADY_EXISTS, EEXIST},
                                                              {ERROR_DISK_FULL, ENOSPC},
                                                              {ERROR_HANDLE_DISK_FULL, ENOSPC},
                                                              {ERROR_BROKEN_PIPE, EPIPE},
                                                              {ERROR_NO_DATA, EPIPE},
                                                              {ERROR_TOO_MANY_OPEN_FILES, EMFILE},
                                                              {ERROR_NOT_ENOUGH_MEMORY, ENOMEM},
                                                              {ERROR_OUTOFMEMORY, ENOMEM},
                                                              {ERROR_INVALID_HANDLE, EBADF},
                                                              {ERROR_DIRECTORY, ENOTDIR},
                                                              {ERROR_FILENAME_EXCED_RANGE, ENAMETOOLONG},
                                                              {ERROR_WRITE_PROTECT, EROFS},
                                                              {ERROR_DIR_NOT_EMPTY, ENOTEMPTY},
                                                              {ERROR_BUSY, EBUSY},
                                                              {ERROR_PIPE_BUSY, EBUSY}}};

constexpr std::array<Row<int>, 21> socketErrors = {{{WSAEINTR, EINTR},
                                                    {WSAEACCES, EACCES},
                                                    {WSAEINVAL, EINVAL},
                                                    {WSAEMFILE, EMFILE},
                                                    {WSAEWOULDBLOCK, EWOULDBLOCK},
                                                    {WSAENOTSOCK, ENOTSOCK},
                                                    {WSAEAFNOSUPPORT, EAFNOSUPPORT},
                                                    {WSAEADDRINUSE, EADDRINUSE},
                                                    {WSAEADDRNOTAVAIL, EADDRNOTAVAIL},
                                                    {WSAENETDOWN, ENETDOWN},
                                                    {WSAENETUNREACH, ENETUNREACH},
                                                    {WSAENETRESET, ENETRESET},
                                                    {WSAECONNABORTED, ECONNABORTED},
                                                    {WSAECONNRESET, ECONNRESET},
                                                    {WSAENOBUFS, ENOBUFS},
                                                    {WSAENOTCONN, ENOTCONN},
                                                    {WSAESHUTDOWN, EPIPE},
                                                    {WSAETIMEDOUT, ETIMEDOUT},
                                                    {WSAECONNREFUSED, ECONNREFUSED},
                                                    {WSAEHOSTUNREACH, EHOSTUNREACH},
                                                    {WSAEHOSTDOWN, EHOSTUNREACH}}};

template <class Number, size_t Size>
int valueOf(const std::array<Row<Number>, Size>& rows, Number error, int other) noexcept {
    const auto found = std::find_if(rows.begin(), rows.end(), [&](const auto& row) { return row.system == error; });
    return found == rows.end() ? other : found->value;
}

} // namespace

int errnoOfSystem(unsigned long error) noexcept {
    return valueOf(systemErrors, error, EIO);
}

int errnoOfSocket(int error) noexcept {
    return valueOf(socketErrors, error, error);
}

} // namespace CmnCrypto::Cli
