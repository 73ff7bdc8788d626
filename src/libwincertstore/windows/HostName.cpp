#include "libwincertstore/HostName.h"

#include <windows.h>

#include "frame/Wide.h"

namespace CmnCrypto::WinCertStore {

std::string hostName(HostnameType type) {
    const COMPUTER_NAME_FORMAT format =
        type == HOSTNAME_SHORT ? ComputerNameDnsHostname : ComputerNameDnsFullyQualified;
    DWORD size = 0;
    ::GetComputerNameExW(format, nullptr, &size); // with room for the end
    std::wstring name(size, L'\0');
    if (::GetComputerNameExW(format, name.data(), &size) == FALSE) {
        return {};
    }
    name.resize(size);
    return narrow(name);
}

} // namespace CmnCrypto::WinCertStore
