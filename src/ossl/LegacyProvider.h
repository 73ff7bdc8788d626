#ifndef CMNCRYPTO_OSSL_LEGACYPROVIDER_H
#define CMNCRYPTO_OSSL_LEGACYPROVIDER_H

#include "ossl/OpenSsl.h"

namespace CmnCrypto::ossl {

/**
 * OpenSSL's legacy provider, from where OpenSSL looks for its modules. On Windows, where programs are unpacked
 * anywhere, also from ossl-modules beside OpenSSL's own library.
 * @return null, with OpenSSL's errors queued, where there is none
 */
OpenSslPtr<OSSL_PROVIDER> loadLegacyProvider(OSSL_LIB_CTX* context) noexcept;

} // namespace CmnCrypto::ossl

#endif
