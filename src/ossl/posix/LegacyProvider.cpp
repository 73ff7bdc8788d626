#include "ossl/LegacyProvider.h"

namespace CmnCrypto::ossl {

OpenSslPtr<OSSL_PROVIDER> loadLegacyProvider(OSSL_LIB_CTX* context) noexcept {
    return OpenSslPtr<OSSL_PROVIDER>(OSSL_PROVIDER_load(context, "legacy"));
}

} // namespace CmnCrypto::ossl
