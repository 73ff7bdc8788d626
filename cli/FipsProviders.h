/** @file
 * OpenSSL's providers: those that serve this process, and whether a FIPS one could.
 */
#ifndef CMNCRYPTO_CLI_FIPSPROVIDERS_H
#define CMNCRYPTO_CLI_FIPSPROVIDERS_H

#include <string>
#include <vector>

#include "Details.h"

namespace CmnCrypto::Cli {

/** What a provider says of itself. */
struct ProviderDescription {
    std::string name;    ///< by which it is loaded: "fips"
    std::string title;   ///< "OpenSSL FIPS Provider"
    std::string version; ///< empty when it tells none
    bool works = false;  ///< its status, which a failed self test ends

    /** @return "fips: OpenSSL FIPS Provider 3.0.11" */
    std::string text() const;
    Json json() const;
};

/** @return the active providers of the process, ordered by name, that which serves without being configured included */
std::vector<ProviderDescription> activeProviders();

/** @return the configuration file that OpenSSL reads, empty for none; it need not exist */
std::string configurationFile();
/** @return what is wrong with the text of a configuration file, which OpenSSL itself passes over in silence, or "" */
std::string configurationMistake(const std::string& file);
/** @return the folder in which providers are looked for that the configuration names no file of */
std::string modulesFolder();

/** Whether a FIPS provider can be loaded, tried without changing what serves the process. */
struct FipsAvailability {
    FipsAvailability();

    bool available = false;
    std::string state;            ///< "available", "missing", "not configured", "self test failed" or "unusable"
    std::string reason;           ///< in words, with what OpenSSL says; empty when it is available
    ProviderDescription provider; ///< when it is available
};

} // namespace CmnCrypto::Cli

#endif
