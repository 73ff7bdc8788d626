/** @file
 * Certificates that subcommands work with.
 */
#ifndef CMNCRYPTO_CLI_CERTIFICATEINPUT_H
#define CMNCRYPTO_CLI_CERTIFICATEINPUT_H

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "cmncrypto/X509CertChain.h"

namespace CmnCrypto::Cli {

/** What every subcommand about one input takes. */
struct CertificateOptions {
    std::string input = "-";
    bool json = false;
};

/** Adds --json and the input. */
void addCertificateOptions(CLI::App& parser, CertificateOptions& options);

/** The certificates of one or more inputs, at least one, in their order. */
class CertificateInput {
public:
    /** @throws Failure (input cannot be read), also when an input holds none or a malformed one */
    explicit CertificateInput(const std::string& name);
    /**
     * @param leafOnly keep the first one only
     * @throws Failure as above, and (usage) when standard input is named twice
     */
    CertificateInput(const std::vector<std::string>& names, bool leafOnly);

    const X509CertChain& chain() const noexcept { return m_chain; }
    size_t size() const noexcept { return m_chain.getCertChainLength(); }
    /** @return the first: subcommands for one certificate work with it */
    X509Certificate& leaf() const { return at(0); }
    X509Certificate& at(size_t index) const { return *m_chain.getCertChainBegin()[static_cast<long>(index)]; }

private:
    X509CertChain m_chain;
};

} // namespace CmnCrypto::Cli

#endif
