#include "libwincertstore/HostName.h"

#include <windows.h>

namespace CmnCrypto::WinCertStore {

std::string hostName(HostnameType type) {
    char name[256] = {};
    DWORD size = sizeof name;
    const COMPUTER_NAME_FORMAT format =
        type == HOSTNAME_SHORT ? ComputerNameDnsHostname : ComputerNameDnsFullyQualified;
    return ::GetComputerNameExA(format, name, &size) != FALSE ? std::string(name, size) : std::string();
}

} // namespace CmnCrypto::WinCertStore
