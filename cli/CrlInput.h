/** @file
 * Revocation lists that subcommands work with.
 */
#ifndef CMNCRYPTO_CLI_CRLINPUT_H
#define CMNCRYPTO_CLI_CRLINPUT_H

#include <string>
#include <vector>

#include "Details.h"
#include "cmncrypto/Crl.h"

namespace CmnCrypto::Cli {

/** The revocation lists of one input, one at least. */
class CrlInput {
public:
    enum class Extent {
        first, ///< for subcommands about one list: the others are counted only
        all
    };

    /** @throws Failure (input cannot be read), also when it holds none or a malformed one */
    CrlInput(std::string name, Extent extent);

    const std::string& name() const noexcept { return m_name; }
    const Crl& first() const noexcept { return m_lists.front(); }
    const std::vector<Crl>& lists() const noexcept { return m_lists; }
    bool isPem() const noexcept { return m_pem; }

    /** Adds the name, the format and how many lists there are. */
    void addTo(Details& details, const std::string& label = "Input") const;
    /** Adds a problem where only the first of several lists was looked at. */
    void addFurtherLists(Details& details) const;

private:
    std::string m_name;
    bool m_pem = false;
    size_t m_count = 0; // in the input
    std::vector<Crl> m_lists;
};

} // namespace CmnCrypto::Cli

#endif
