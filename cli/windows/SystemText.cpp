#include "SystemText.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "ErrorNumbers.h"

namespace CmnCrypto::Cli {

namespace {

/** What the C runtime has values for, but no texts. */
constexpr std::array<std::pair<int, const char*>, 15> networkTexts = {
    {{EADDRINUSE, "Address already in use"},
     {EADDRNOTAVAIL, "Cannot assign requested address"},
     {EAFNOSUPPORT, "Address family not supported by protocol"},
     {ECONNABORTED, "Software caused connection abort"},
     {ECONNREFUSED, "Connection refused"},
     {ECONNRESET, "Connection reset by peer"},
     {EHOSTUNREACH, "No route to host"},
     {ENETDOWN, "Network is down"},
     {ENETRESET, "Network dropped connection on reset"},
     {ENETUNREACH, "Network is unreachable"},
     {ENOBUFS, "No buffer space available"},
     {ENOTCONN, "Transport endpoint is not connected"},
     {ENOTSOCK, "Socket operation on non-socket"},
     {ETIMEDOUT, "Connection timed out"},
     {EWOULDBLOCK, "Resource temporarily unavailable"}}};

} // namespace

std::string systemText(int error) {
    const int value = errnoOfSocket(error);
    const auto* const found = std::find_if(networkTexts.begin(), networkTexts.end(),
                                           [value](const auto& text) { return text.first == value; });
    return found == networkTexts.end() ? std::generic_category().message(value) : found->second;
}

} // namespace CmnCrypto::Cli
