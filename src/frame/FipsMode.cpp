#include "frame/FipsMode.h"

#include <array>
#include <memory>
#include <utility>

#include <openssl/provider.h>

#include "ossl/PerThread.h"

namespace CmnCrypto::fips {

namespace {

// The rest of the work is done in the default library context, as everything else in this library.
constexpr OSSL_LIB_CTX* defaultContext = nullptr;

/** Providers that this library has loaded, let go together unless they are kept. */
class LoadedProviders {
public:
    LoadedProviders() = default;
    ~LoadedProviders() {
        while (m_count > 0) {
            OSSL_PROVIDER_unload(m_providers[--m_count]);
        }
    }
    LoadedProviders(const LoadedProviders&) = delete;
    LoadedProviders& operator=(const LoadedProviders&) = delete;

    /** Retains the fall-backs: without that the first failed load of a process leaves it with no provider. */
    bool add(const char* name) {
        OSSL_PROVIDER* const provider = OSSL_PROVIDER_try_load(defaultContext, name, 1);
        if (provider == nullptr) {
            return false;
        }
        m_providers[m_count++] = provider;
        return true;
    }

private:
    std::array<OSSL_PROVIDER*, 3> m_providers{};
    size_t m_count = 0;
};

LoadedProviders* keptProviders = nullptr;

/** Keeps providers until OpenSSL ends. A destructor of ours would run while a host's own may still hash. */
void keep(std::unique_ptr<LoadedProviders> providers) {
    const auto release = [] {
        delete keptProviders;
        keptProviders = nullptr;
    };
    if (keptProviders == nullptr) {
        keptProviders = providers.release();
        OPENSSL_atexit(release); // refused: they stay loaded to the very end
    }
}

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

/** Whether FIPS mode is on and something serves it: hosts and configurations can ask for it alone. */
bool isInWorkingOrder() {
    const bool works = FIPS_mode() != 0 && fipsAlgorithmsExist() && randomWorks();
    ERR_clear_error();
    return works;
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
    const bool wasOn = FIPS_mode() != 0;
    ERR_clear_error();

    auto providers = std::make_unique<LoadedProviders>();
    if (!providers->add("fips") || !fipsAlgorithmsExist() || !providers->add("base") ||
        (hasDefault && !providers->add("default")) || EVP_default_properties_enable_fips(defaultContext, 1) != 1) {
        return false;
    }
    if (!randomWorks()) {
        wasOn ? void() : backToUnrestricted();
        return false;
    }
    keep(std::move(providers));
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
        done = isInWorkingOrder() || switchOn();
    }
    ossl::forgetAlgorithms();
    return done ? 1 : 0;
}

} // namespace CmnCrypto::fips
