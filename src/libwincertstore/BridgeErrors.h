#ifndef CMNCRYPTO_LIBWINCERTSTORE_BRIDGEERRORS_H
#define CMNCRYPTO_LIBWINCERTSTORE_BRIDGEERRORS_H

namespace CmnCrypto::WinCertStore {

/** The source that errors of the bridge name in OpenSSL's queue. */
constexpr const char* bridgeFile = "WinCertStoreOpenSSLHelper";

/** Functions and reasons of the errors that callers find there. */
constexpr int functionUsePrivateKey = 173;
constexpr int functionSign = 102;
constexpr int reasonCannotBeMade = 13;
constexpr int reasonNoMemory = 65;
constexpr int reasonNoRecord = 67;
constexpr int reasonPaddingRefused = 118;
constexpr int reasonLengthRefused = 131;

} // namespace CmnCrypto::WinCertStore

#endif
