#ifndef CMNCRYPTO_LIBWINCERTSTORE_STOREERRORS_H
#define CMNCRYPTO_LIBWINCERTSTORE_STOREERRORS_H

#include <string>

namespace CmnCrypto::WinCertStore {

/** Queues an OpenSSL error of the TLS library, where callers of the store look for it. Function numbers are gone from
 *  OpenSSL 3: @p functionNumber goes into the error's data. */
void putStoreError(int functionNumber, int reason, const char* function, const char* file, int line) noexcept;

/** @return the error queue as text, as getAndClearSslErrStack() gives it, but the queue stays @throws std::bad_alloc */
std::string sslErrorsKept();

} // namespace CmnCrypto::WinCertStore

#endif
