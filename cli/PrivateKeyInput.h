/** @file
 * Private keys that subcommands work with.
 */
#ifndef CMNCRYPTO_CLI_PRIVATEKEYINPUT_H
#define CMNCRYPTO_CLI_PRIVATEKEYINPUT_H

#include <cstdint>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "Failure.h"
#include "Secret.h"
#include "cmncrypto/CmnException.h"
#include "cmncrypto/X509PrivateKey.h"

namespace CmnCrypto::Cli {

/** What was given on the command line; empty texts stand for what was not. */
struct PrivateKeyOptions {
    std::string file;
    std::string passFile;
    bool quiet = false;
};

/** Adds --key (required), --pass-file and --quiet. */
void addPrivateKeyOptions(CLI::App& parser, PrivateKeyOptions& options);

/** Reads the private key that the options name. @throws Failure (input cannot be read, key unusable) */
std::unique_ptr<X509PrivateKey> readPrivateKey(const PrivateKeyOptions& options);

/**
 * Opens a private key in PEM.
 * @param label names the input in messages
 * @throws Failure (key unusable) when it is encrypted and the pass phrase is empty or wrong, or it is malformed
 */
std::unique_ptr<X509PrivateKey> openPrivateKey(const Secret& pem, const Secret& passPhrase, const std::string& label);

/** What X509PrivateKey answers for an encrypted key without a pass phrase. */
constexpr int32_t passPhraseMissing = 5999;

/** The failure that goes with a code of X509PrivateKey. @param encrypted the key is, and there was a pass phrase */
Failure unusableKey(const std::string& label, int32_t code, bool encrypted);

/** The failure of signWith(). */
Failure cannotSign(const X509PrivateKey& key, const std::string& label, const std::string& why, int32_t code);

/**
 * Does something that signs with a key.
 * @return what @p work returns
 * @throws Failure (key unusable) for a CmnException or a text that it throws: keys of some kinds sign nothing here
 */
template <class Work>
auto signWith(const X509PrivateKey& key, const std::string& label, Work work) -> decltype(work()) {
    try {
        return work();
    } catch (const CmnException& failure) {
        throw cannotSign(key, label, failure.what(), failure.getErrorCode());
    } catch (const std::string& text) {
        throw cannotSign(key, label, text, -1);
    }
}

/** Writes a key as PKCS#8 in PEM, encrypted unless the pass phrase is empty. @throws Failure (internal) */
Secret privateKeyPem(const X509PrivateKey& key, const Secret& passPhrase);

} // namespace CmnCrypto::Cli

#endif
