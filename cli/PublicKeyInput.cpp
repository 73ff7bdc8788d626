#include "PublicKeyInput.h"

#include <algorithm>
#include <utility>

#include <openssl/err.h>
#include <openssl/pem.h>

#include "CertificateInput.h"
#include "Failure.h"
#include "FileOption.h"
#include "KeyDescription.h"
#include "OpenSslOwner.h"
#include "PassPhrase.h"
#include "PemInput.h"
#include "PrivateKeyInput.h"
#include "cmncrypto/CmnException.h"

namespace CmnCrypto::Cli {

namespace {

/** @return another reference to a key */
OwnedKey shared(EVP_PKEY* key) {
    EVP_PKEY_up_ref(key);
    return OwnedKey(key);
}

OwnedKey ofPrivateKey(const PublicKeyOptions& options, const Secret& pem) {
    const Secret passPhrase = readOptionalPassPhrase(options.passFile, options.quiet);
    warnIfReadableByOthers(options.key, options.quiet);
    return shared(openPrivateKey(pem, passPhrase, inputLabel(options.key))->getEVPKey());
}

/** @return null when it is neither a public nor a private key, or more than that */
OwnedKey ofDer(const PublicKeyOptions& options, Secret der) {
    const auto* position = reinterpret_cast<const unsigned char*>(der.text().data());
    const auto* const end = position + der.size();
    OwnedKey key(d2i_PUBKEY(nullptr, &position, static_cast<long>(der.size())));
    if (key) {
        return position == end ? std::move(key) : OwnedKey();
    }
    Secret pem;
    try {
        pem = privateKeyAsPem(options.key, std::move(der));
    } catch (const Failure&) {
        return OwnedKey();
    }
    return ofPrivateKey(options, pem);
}

/** Decoded here: the library's own reading is for RSA in PEM, and takes the kind "RSA-PSS" for plain RSA. */
OwnedKey ofKeyFile(const PublicKeyOptions& options) {
    Secret input = readWhole(options.key);
    const std::string& text = input.text();
    if (text.find("PRIVATE KEY-----") != std::string::npos) {
        return ofPrivateKey(options, input);
    }
    if (text.find("-----BEGIN ") == std::string::npos) {
        return ofDer(options, std::move(input));
    }
    const OwnedBio bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    return OwnedKey(PEM_read_bio_PUBKEY(bio.get(), nullptr, refusePassPhrase, nullptr));
}

OwnedKey ofCertificate(const std::string& name) {
    return OwnedKey(X509_get_pubkey(CertificateInput(name).leaf().getX509()));
}

OwnedKey ofRequest(const std::string& name) {
    const std::string pem = requestAsPem(name);
    try {
        const std::unique_ptr<X509PublicKey> key(X509PublicKey::extractPublicKeyFromCSR(pem));
        return shared(key->getEVPKey());
    } catch (const CmnException&) {
        return OwnedKey();
    }
}

/** @return whether signatures of such keys are made over a digest, which is how the library verifies */
bool canVerify(const EVP_PKEY* key) {
    const auto kinds = {"RSA", "RSA-PSS", "EC", "DSA"};
    return std::any_of(kinds.begin(), kinds.end(), [key](const char* kind) { return EVP_PKEY_is_a(key, kind) == 1; });
}

} // namespace

void addPublicKeyOptions(CLI::App& parser, PublicKeyOptions& options) {
    CLI::Option_group* group = parser.add_option_group("key", "Where the key comes from");
    CLI::Option* key =
        group->add_option("-k,--key", options.key, "Public or private key in PEM or DER")->check(namedFile());
    group->add_option("--cert", options.certificate, "Certificate in PEM or DER, of which nothing else is checked")
        ->check(namedFile());
    group->add_option("--csr", options.request, "Certificate request in PEM or DER")->check(namedFile());
    group->require_option(1);
    parser.add_option("-p,--pass-file", options.passFile, "File whose first line is the pass phrase of a private key")
        ->check(namedFile())
        ->needs(key);
    parser.add_flag("-q,--quiet", options.quiet, "No warnings");
}

std::unique_ptr<X509PublicKey> readPublicKey(const PublicKeyOptions& options) {
    const std::string& name = !options.key.empty()           ? options.key
                              : !options.certificate.empty() ? options.certificate
                                                             : options.request;
    OwnedKey key = !options.key.empty()           ? ofKeyFile(options)
                   : !options.certificate.empty() ? ofCertificate(name)
                                                  : ofRequest(name);
    ERR_clear_error();
    if (!key) {
        throw Failure(ExitCode::keyUnusable,
                      inputLabel(name) + ": holds no public key that can be read; give one in PEM or DER");
    }
    if (!canVerify(key.get())) {
        throw Failure(ExitCode::keyUnusable, inputLabel(name) + ": keys of this kind (" +
                                                 KeyDescription(key.get()).text() +
                                                 ") cannot be used here; use an RSA or EC key");
    }
    return std::make_unique<X509PublicKey>(key.release(), true);
}

} // namespace CmnCrypto::Cli
