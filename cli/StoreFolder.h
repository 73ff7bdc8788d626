/** @file
 * The folder of certificate stores that a subcommand works with.
 */
#ifndef CMNCRYPTO_CLI_STOREFOLDER_H
#define CMNCRYPTO_CLI_STOREFOLDER_H

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "Details.h"
#include "cmncrypto/CertStorePlatform.h"
#include "cmncrypto/CertificateFilter.h"
#include "cmncrypto/CertificateSelector.h"
#include "cmncrypto/WinCertStoreCertificate.h"

namespace CmnCrypto::Cli {

using StoreFilters = std::list<std::shared_ptr<WinCertStore::CertificateFilter>>;

/** Adds --store, which only a system with stores of its own can do without. */
void addStoreOption(CLI::App& parser, std::string& folder);
/** As above, for a subcommand that can also do without any store. */
void addStoreOptionIfWanted(CLI::App& parser, std::string& folder);

/** The certificate stores that a subcommand works with, those of a folder or the system's. */
struct StoreSet {
    std::shared_ptr<WinCertStore::CertStorePlatform> platform;
    std::function<std::vector<std::string>()> storeNames;
};

/** Makes the stores of a folder those of the process; with an empty name they are the system's.
 *  @throws Failure (input cannot be read) */
std::shared_ptr<const StoreSet> useStores(const std::string& folder);

/** @return the words of a list separated by commas, without the blanks around them and without empty ones */
std::vector<std::string> listedNames(const std::string& text);

/** An open store, which closes itself. */
class OpenedStore {
public:
    /** @throws Failure (input cannot be read) naming the stores that there are */
    OpenedStore(const std::shared_ptr<const StoreSet>& stores, const std::string& name);
    ~OpenedStore() { m_platform->closeStore(m_handle); }
    OpenedStore(const OpenedStore&) = delete;
    OpenedStore& operator=(const OpenedStore&) = delete;

    /** Finds the first one with a valid fingerprint. @throws Failure (internal) when it could not be looked for */
    bool find(const std::string& fingerprint, WinCertStore::WinCertStoreCertificate& certificate) const;
    /** @return all that it holds, in its order */
    std::vector<WinCertStore::WinCertStoreCertificate> certificates() const;

private:
    std::shared_ptr<WinCertStore::CertStorePlatform> m_platform;
    WinCertStore::CertStoreHandle m_handle = nullptr;
};

/** For a path that selects none: it says nothing about a store that could not be read.
 *  @throws Failure (input cannot be read) when there is such a store in the path */
void refuseUnreadable(const std::shared_ptr<const StoreSet>& stores, const std::string& path);

/** @return the certificate in PEM @throws Failure (internal) */
std::string pemOf(const WinCertStore::WinCertStoreCertificate& certificate);

/** Adds names, dates, fingerprint and whether the store has the key. */
void addStoreCertificate(const WinCertStore::WinCertStoreCertificate& certificate, Details& details);

/** @return a filter for --time-lag, none for an empty text @throws Failure (usage) */
StoreFilters timeLagFilters(const std::string& minutes);

/**
 * Judges a path as a set-up does, which takes it for a file unless all elements are store paths in form.
 * @return what is wrong with it; empty for nothing, and for an empty path
 */
std::string storePathMistake(const std::string& path);

/** @return what a status code of selection means, with what to do about it */
std::string selectionText(int code);
/** As above. Where the code says that there is no such subject though there is, the last refusal tells more. */
std::string selectionText(int code, const std::list<WinCertStore::CandidateVerdict>& candidates);
/** @return why a candidate was refused */
std::string refusalText(const WinCertStore::CandidateVerdict& verdict);

} // namespace CmnCrypto::Cli

#endif
