/** @file
 * One certificate of a store, as it is named on the command line.
 */
#ifndef CMNCRYPTO_CLI_STORETARGET_H
#define CMNCRYPTO_CLI_STORETARGET_H

#include <memory>
#include <string>

#include "StoreFolder.h"
#include "cmncrypto/WinCertStoreCommon.h"

namespace CmnCrypto::Cli {

/** Where to look, and for what. */
struct StoreTargetOptions {
    std::string folder;
    std::string name; ///< a SHA-1 fingerprint or a store path
    bool json = false;
};

/** Adds --store, --json and the argument. */
void addStoreTargetOptions(CLI::App& parser, StoreTargetOptions& options);

/** A certificate and the store that it was found in. */
struct StoreTarget {
    std::shared_ptr<const StoreSet> stores;
    std::string store;
    WinCertStore::WinCertStoreCertificate certificate;
};

/** Finds what is named: the first one with the fingerprint, or the one that the path selects.
 *  @throws Failure (usage) for neither, (negative) when there is none */
StoreTarget findStoreTarget(const StoreTargetOptions& options);

/** @return the failure that goes with an answer of the library's store helper, its own message told;
 *          captureFailures() has been called before */
Failure storeFailure(WinCertStore::WinCertStoreError error, const std::string& what);

} // namespace CmnCrypto::Cli

#endif
