/** @file
 * Public keys that subcommands work with.
 */
#ifndef CMNCRYPTO_CLI_PUBLICKEYINPUT_H
#define CMNCRYPTO_CLI_PUBLICKEYINPUT_H

#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "cmncrypto/X509PublicKey.h"

namespace CmnCrypto::Cli {

/** What was given on the command line; exactly one of the first three is not empty. */
struct PublicKeyOptions {
    std::string key;
    std::string certificate;
    std::string request;
    std::string passFile; ///< for a private key
    bool quiet = false;

    bool usesStandardInput() const { return key == "-" || certificate == "-" || request == "-"; }
};

/** Adds --key, --cert and --csr, of which one has to be given, --pass-file and --quiet. */
void addPublicKeyOptions(CLI::App& parser, PublicKeyOptions& options);

/**
 * Reads the key; nothing else of a certificate or request is checked.
 * @throws Failure (input cannot be read, key unusable)
 */
std::unique_ptr<X509PublicKey> readPublicKey(const PublicKeyOptions& options);

} // namespace CmnCrypto::Cli

#endif
