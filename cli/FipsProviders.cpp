#include "FipsProviders.h"

#include <algorithm>
#include <cstdlib>
#include <system_error>
#include <utility>

#include <openssl/conf.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/params.h>
#include <openssl/proverr.h>
#include <openssl/provider.h>

#include "OpenSslOwner.h"

namespace CmnCrypto::Cli {

namespace {

constexpr char fips[] = "fips";

using LibraryContext = Owned<OSSL_LIB_CTX, OSSL_LIB_CTX_free>;
using OwnedProvider = Owned<OSSL_PROVIDER, OSSL_PROVIDER_unload>;
using OwnedDigest = Owned<EVP_MD, EVP_MD_free>;

void freeText(char* text) {
    OPENSSL_free(text);
}

std::string textOr(const char* text, const std::string& otherwise) {
    return text == nullptr ? otherwise : text;
}

ProviderDescription describe(const OSSL_PROVIDER* provider) {
    const char* title = nullptr;
    const char* version = nullptr;
    int status = 0;
    OSSL_PARAM wanted[] = {
        OSSL_PARAM_construct_utf8_ptr(OSSL_PROV_PARAM_NAME, const_cast<char**>(&title), 0),
        OSSL_PARAM_construct_utf8_ptr(OSSL_PROV_PARAM_VERSION, const_cast<char**>(&version), 0),
        OSSL_PARAM_construct_int(OSSL_PROV_PARAM_STATUS, &status),
        OSSL_PARAM_construct_end(),
    };
    const bool told = OSSL_PROVIDER_get_params(provider, wanted) == 1;
    const std::string name = textOr(OSSL_PROVIDER_get0_name(provider), "");
    return {name, textOr(title, ""), textOr(version, ""), told && status == 1};
}

int collect(OSSL_PROVIDER* provider, void* list) {
    static_cast<std::vector<ProviderDescription>*>(list)->push_back(describe(provider));
    return 1;
}

/** A kind of failure, by the error that tells it. */
struct Cause {
    int library;
    int reason; ///< 0: any
    const char* state;
    const char* text;
};

// In this order: each of them is followed by errors of the more general kinds below it.
constexpr Cause causes[] = {
    {ERR_LIB_PROV, PROV_R_MISSING_CONFIG_DATA, "not configured",
     "the configuration file has no section for it with a checksum (module-mac); see openssl-fipsinstall(1)"},
    {ERR_LIB_PROV, PROV_R_MODULE_INTEGRITY_FAILURE, "self test failed",
     "its file is not the one that the checksum (module-mac) in its configuration was made of"},
    {ERR_LIB_PROV, 0, "self test failed", "now, or when the configuration file activated it"},
    {ERR_LIB_DSO, 0, "missing", "its file cannot be loaded"},
};

struct QueuedError {
    unsigned long code = 0;
    std::string text;
};

std::vector<QueuedError> takeErrors() {
    std::vector<QueuedError> errors;
    const char* data = nullptr;
    int flags = 0;
    while (const unsigned long code = ERR_get_error_all(nullptr, nullptr, nullptr, &data, &flags)) {
        const std::string detail = (flags & ERR_TXT_STRING) != 0 ? textOr(data, "") : "";
        const char* const reason = ERR_reason_error_string(code); // none for an error of the system
        std::string text =
            ERR_SYSTEM_ERROR(code) ? std::system_category().message(ERR_GET_REASON(code)) : textOr(reason, "");
        if (!detail.empty()) {
            text.append(" (").append(detail).append(")");
        }
        errors.push_back({code, std::move(text)});
    }
    return errors;
}

bool tells(const Cause& cause, const QueuedError& error) {
    return ERR_GET_LIB(error.code) == cause.library &&
           (cause.reason == 0 || ERR_GET_REASON(error.code) == cause.reason);
}

} // namespace

std::string ProviderDescription::text() const {
    return name + ": " + title + (version.empty() ? "" : " " + version) + (works ? "" : ", in error state");
}

Json ProviderDescription::json() const {
    return {{"name", name}, {"title", title}, {"version", version}, {"works", works}};
}

std::vector<ProviderDescription> activeProviders() {
    // A provider that nobody has configured comes up with the first algorithm that is asked for.
    const OwnedDigest first(EVP_MD_fetch(nullptr, "SHA256", nullptr));
    std::vector<ProviderDescription> providers;
    OSSL_PROVIDER_do_all(nullptr, collect, &providers);
    ERR_clear_error();
    std::sort(providers.begin(), providers.end(),
              [](const ProviderDescription& a, const ProviderDescription& b) { return a.name < b.name; });
    return providers;
}

std::string configurationFile() {
    const Owned<char, freeText> name(CONF_get1_default_config_file());
    return textOr(name.get(), "");
}

std::string configurationMistake(const std::string& file) {
    if (file.empty()) {
        return "";
    }
    ERR_clear_error();
    const Owned<CONF, NCONF_free> configuration(NCONF_new(nullptr));
    long line = 0;
    if (configuration && NCONF_load(configuration.get(), file.c_str(), &line) == 1) {
        return "";
    }
    const std::vector<QueuedError> errors = takeErrors();
    return (line > 0 ? "line " + std::to_string(line) + ": " : "") +
           (errors.empty() ? "cannot be read" : errors.front().text);
}

std::string modulesFolder() {
    return textOr(std::getenv("OPENSSL_MODULES"), OPENSSL_info(OPENSSL_INFO_MODULES_DIR));
}

FipsAvailability::FipsAvailability() {
    // In a context of its own. The file is read there once more; what else it asks for is of no interest.
    const LibraryContext context(OSSL_LIB_CTX_new());
    const std::string file = configurationFile();
    if (context && !file.empty()) {
        CONF_modules_load_file_ex(context.get(), file.c_str(), nullptr,
                                  CONF_MFLAGS_IGNORE_ERRORS | CONF_MFLAGS_IGNORE_RETURN_CODES | CONF_MFLAGS_SILENT);
    }
    ERR_clear_error();
    const OwnedProvider loaded(OSSL_PROVIDER_load(context.get(), fips));
    const std::vector<QueuedError> errors = takeErrors();
    available = context && loaded;
    if (available) {
        state = "available";
        provider = describe(loaded.get());
        return;
    }
    state = "unusable";
    for (const Cause& cause : causes) {
        const auto error = std::find_if(errors.begin(), errors.end(),
                                        [&cause](const QueuedError& queued) { return tells(cause, queued); });
        if (error != errors.end()) {
            state = cause.state;
            reason = std::string(cause.text) + ": " + error->text;
            return;
        }
    }
    reason = errors.empty() ? "OpenSSL gave no reason" : errors.back().text;
}

} // namespace CmnCrypto::Cli
