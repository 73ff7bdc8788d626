#ifndef CMNCRYPTO_OSSL_LEGACYCONTEXT_H
#define CMNCRYPTO_OSSL_LEGACYCONTEXT_H

#include <string>

#include "ossl/OpenSsl.h"

namespace CmnCrypto::ossl {

/**
 * A library context of our own with OpenSSL's legacy provider, for reading what older systems wrote (RC2, RC4, DES).
 * The process's own providers stay as they are.
 */
class LegacyContext {
public:
    LegacyContext() noexcept;

    /** @return whether the legacy provider is there */
    bool isUsable() const noexcept { return m_default && m_legacy; }
    /** @return borrowed */
    OSSL_LIB_CTX* get() const noexcept { return m_context.get(); }

private:
    OpenSslPtr<OSSL_LIB_CTX> m_context; // first, so that it goes last
    OpenSslPtr<OSSL_PROVIDER> m_default;
    OpenSslPtr<OSSL_PROVIDER> m_legacy;
};

/** @return whether what failed last is the look-up of an algorithm that no loaded provider has */
bool isAlgorithmMissing() noexcept;

/** @return the name of the algorithm that isAlgorithmMissing() speaks of, as OpenSSL tells it */
std::string missingAlgorithm();

} // namespace CmnCrypto::ossl

#endif
