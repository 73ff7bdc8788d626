#include "frame/FipsMode.h"

#include <openssl/provider.h>

#include "ossl/Algorithms.h"

namespace CmnCrypto::fips {

namespace {

// The rest of the work is done in the default library context, as everything else in this library.
constexpr OSSL_LIB_CTX* defaultContext = nullptr;

/** A provider that this library has loaded, let go again unless it is kept. */
class LoadedProvider {
public:
    explicit LoadedProvider(const char* name)
        // Retaining the fall-backs: without it the first failed load of a process leaves it with no provider.
        : m_provider(OSSL_PROVIDER_try_load(defaultContext, name, 1)) {}
    ~LoadedProvider() {
        if (m_provider != nullptr) {
            OSSL_PROVIDER_unload(m_provider);
        }
    }
    LoadedProvider(const LoadedProvider&) = delete;
    LoadedProvider& operator=(const LoadedProvider&) = delete;

    explicit operator bool() const { return m_provider != nullptr; }
    // OpenSSL unloads it at exit; doing so from a destructor of ours would come too late.
    void keep() { m_provider = nullptr; }

private:
    OSSL_PROVIDER* m_provider;
};

/** Whether a loaded provider really offers a digest, a cipher and a generator as FIPS ones. */
bool fipsAlgorithmsExist() {
    constexpr const char* wanted = "fips=yes";
    const OpenSslPtr<EVP_MD> digest(EVP_MD_fetch(defaultContext, "SHA256", wanted));
    const OpenSslPtr<EVP_CIPHER> cipher(EVP_CIPHER_fetch(defaultContext, "AES-256-GCM", wanted));
    const OpenSslPtr<EVP_RAND> generator(EVP_RAND_fetch(defaultContext, "CTR-DRBG", wanted));
    return digest && cipher && generator;
}

bool randomWorks() {
    unsigned char byte = 0;
    return RAND_bytes(&byte, 1) == 1;
}

/** Switches the properties back, keeping the errors that say why it was necessary. */
void backToUnrestricted() {
    ERR_set_mark();
    EVP_default_properties_enable_fips(defaultContext, 0);
    ERR_pop_to_mark();
}

bool switchOn() {
    // A first fetch brings up the provider that serves the process now. Where that is the default one it is
    // loaded by name as well: any explicit load ends the automatic one, and then switching FIPS mode off again
    // would leave nothing.
    const OpenSslPtr<EVP_MD> present(EVP_MD_fetch(defaultContext, "SHA256", nullptr));
    const bool hasDefault = OSSL_PROVIDER_available(defaultContext, "default") == 1;
    ERR_clear_error();

    LoadedProvider fips("fips");
    if (!fips || !fipsAlgorithmsExist()) {
        return false;
    }
    LoadedProvider base("base");
    LoadedProvider standard(hasDefault ? "default" : "base");
    if (!base || !standard || EVP_default_properties_enable_fips(defaultContext, 1) != 1) {
        return false;
    }
    if (!randomWorks()) {
        backToUnrestricted();
        return false;
    }
    fips.keep();
    base.keep();
    standard.keep();
    ERR_clear_error(); // a load may succeed and leave errors behind
    return true;
}

} // namespace

int FIPS_mode() {
    return EVP_default_properties_is_fips_enabled(defaultContext) != 0 ? 1 : 0;
}

int FIPS_mode_set(int on) {
    bool done = false;
    if (on == 0) {
        done = EVP_default_properties_enable_fips(defaultContext, 0) == 1;
    } else {
        done = FIPS_mode() != 0 || switchOn();
    }
    ossl::forgetAlgorithms();
    return done ? 1 : 0;
}

} // namespace CmnCrypto::fips
