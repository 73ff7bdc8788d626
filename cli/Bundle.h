/** @file
 * PKCS#12 bundles (RFC 7292): a private key, its certificate and further certificates under one pass phrase.
 */
#ifndef CMNCRYPTO_CLI_BUNDLE_H
#define CMNCRYPTO_CLI_BUNDLE_H

#include <memory>
#include <string>

#include "Secret.h"
#include "cmncrypto/X509CertChain.h"
#include "cmncrypto/X509PrivateKey.h"

namespace CmnCrypto::Cli {

/** What a bundle holds; every part may be missing. */
struct Bundle {
    std::unique_ptr<X509Certificate> certificate;
    std::unique_ptr<X509PrivateKey> key;
    std::string further; ///< other certificates, in PEM
    std::string name;    ///< what the bundle calls the certificate
};

/**
 * Takes a bundle apart, also one of an older system.
 * @param label names the input in messages
 * @throws Failure (input cannot be read, key unusable)
 */
Bundle openBundle(const Secret& content, Secret& passPhrase, const std::string& label);

/**
 * Makes a bundle.
 * @param chain the certificate of the key, and what is to go with it
 * @param name what to call the certificate; empty for nothing
 * @throws Failure (internal) and the library's exceptions
 */
Secret makeBundle(const X509CertChain& chain, const X509PrivateKey& key, const std::string& name, Secret& passPhrase);

} // namespace CmnCrypto::Cli

#endif
