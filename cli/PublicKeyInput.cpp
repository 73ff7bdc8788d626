#include "PublicKeyInput.h"

#include <openssl/err.h>
#include <openssl/pem.h>

#include "CertificateInput.h"
#include "Failure.h"
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

/** Decoded here: the library's own reading is for RSA in PEM, and takes the kind "RSA-PSS" for plain RSA. */
OwnedKey ofKeyFile(const PublicKeyOptions& options) {
    const Secret input = readWhole(options.key);
    const std::string& text = input.text();
    if (text.find("PRIVATE KEY-----") != std::string::npos) {
        const Secret passPhrase = readOptionalPassPhrase(options.passFile, false);
        return shared(openPrivateKey(input, passPhrase, inputLabel(options.key))->getEVPKey());
    }
    if (text.find("-----BEGIN ") == std::string::npos) {
        const auto* position = reinterpret_cast<const unsigned char*>(text.data());
        return OwnedKey(d2i_PUBKEY(nullptr, &position, static_cast<long>(text.size())));
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

} // namespace

void addPublicKeyOptions(CLI::App& parser, PublicKeyOptions& options) {
    CLI::Option_group* group = parser.add_option_group("key", "Where the key comes from");
    group->add_option("-k,--key", options.key, "Public key in PEM or DER, or private key in PEM");
    group->add_option("--cert", options.certificate, "Certificate in PEM or DER, of which nothing else is checked");
    group->add_option("--csr", options.request, "Certificate request in PEM or DER");
    group->require_option(1);
    parser.add_option("-p,--pass-file", options.passFile, "File whose first line is the pass phrase of a private key");
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
    return std::make_unique<X509PublicKey>(key.release(), true);
}

} // namespace CmnCrypto::Cli
