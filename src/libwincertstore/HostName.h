#ifndef CMNCRYPTO_LIBWINCERTSTORE_HOSTNAME_H
#define CMNCRYPTO_LIBWINCERTSTORE_HOSTNAME_H

#include <string>

#include "cmncrypto/CertStorePlatform.h"

namespace CmnCrypto::WinCertStore {

/** @return a name of the local machine, empty when the system does not tell it @throws std::bad_alloc */
std::string hostName(HostnameType type);

} // namespace CmnCrypto::WinCertStore

#endif
