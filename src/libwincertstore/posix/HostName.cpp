#include "libwincertstore/HostName.h"

#include <memory>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

namespace CmnCrypto::WinCertStore {

namespace {

/** @return the name under which the resolver knows the machine, as "hostname -f" does; empty when it knows none */
std::string canonicalName(const char* name) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM; // one answer for each address is enough
    hints.ai_flags = AI_CANONNAME;
    addrinfo* found = nullptr;
    if (getaddrinfo(name, nullptr, &hints, &found) != 0) {
        return {};
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, &freeaddrinfo);
    return found->ai_canonname != nullptr ? found->ai_canonname : "";
}

} // namespace

std::string hostName(HostnameType type) {
    char name[256] = {};
    if (gethostname(name, sizeof name - 1) != 0) {
        return {};
    }
    std::string own = name;
    if (type == HOSTNAME_SHORT) {
        return own.substr(0, own.find('.'));
    }
    if (own.find('.') != std::string::npos) {
        return own; // qualified already: no need to ask the network
    }
    const std::string qualified = canonicalName(name);
    return qualified.empty() ? own : qualified;
}

} // namespace CmnCrypto::WinCertStore
