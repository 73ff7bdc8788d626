#ifndef CMNCRYPTO_LIBWINCERTSTORE_STOREKEYSIGNATURES_H
#define CMNCRYPTO_LIBWINCERTSTORE_STOREKEYSIGNATURES_H

namespace CmnCrypto::WinCertStore {

/**
 * The signature algorithms of a context with a store's key: PKCS#1 v1.5 only. Left to itself, OpenSSL would pad PSS on
 * its own and ask the key's method for a bare block, which a store does not sign.
 */
constexpr const char* storeKeySignatures = "RSA+SHA512:RSA+SHA384:RSA+SHA256:RSA+SHA224";

} // namespace CmnCrypto::WinCertStore

#endif
