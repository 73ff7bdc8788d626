#ifndef CMNCRYPTO_LIBWINCERTSTORE_SYSTEMCERTSTORE_H
#define CMNCRYPTO_LIBWINCERTSTORE_SYSTEMCERTSTORE_H

#include <memory>

#include "cmncrypto/CertStorePlatform.h"

namespace CmnCrypto::WinCertStore {

/** @return what a process begins with, a new object each time */
std::shared_ptr<CertStorePlatform> systemCertStore();

} // namespace CmnCrypto::WinCertStore

#endif
