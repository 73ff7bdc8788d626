// Certificates, chains and private keys out of PEM; DER becomes a certificate's.

#include "Harness.h"
#include "x509/PassPhrase.h"
#include "x509/PemBlock.h"

using namespace fuzz;

namespace {

std::string derOf(const X509* certificate) {
    return written([&](BIO* bio) { i2d_X509_bio(bio, certificate); });
}

void ask(X509Certificate& certificate, const X509* expected) {
    const bool isReadable = succeeds([&] { certificate.getExpiryDateEPOC(); });
    require(succeeds([&] { certificate.isCertExpired(); }) == isReadable, "both read the same date");
    succeeds([&] { certificate.isCertValidNow(); });
    succeeds([&] { certificate.validateAlgorithm(); });
    succeeds([&] { certificate.getSubjectAsString(NAME_FORMAT_ONELINE); });
    succeeds([&] {
        certificate.getKeySize();
        certificate.getSubjectAltNames();
        certificate.validateCDPsURLs();
        certificate.getSubjectKeyIdentifier() + certificate.getAuthorityKeyIdentifier();
        require(certificate.getSerialNumber() == CrlUtil::getCertSerialNumberInHex(certificate.getX509()), "number");
        require(!certificate.getStartDate().empty() && !certificate.getExpiryDate().empty(), "dates");
        require(certificate.generateHash(HASH_ALGO_SHA256).size() == 95, "a fingerprint");
        const X509Certificate again(certificate.getPemString(), INIT_TYPE_BLOB);
        require(derOf(again.getX509()) == derOf(expected), "the PEM leads back to the certificate");
    });
}

void checkChain(const std::string& text) {
    const X509CertChain chain(text, INIT_TYPE_BLOB);
    const X509CertChain again(chain.getPemString(), INIT_TYPE_BLOB);
    require(again.getCertChainLength() == chain.getCertChainLength(), "all of them again");
    const std::string first = derOf((*chain.getCertChainBegin())->getX509());
    const auto length = static_cast<int>(chain.getCertChainLength());
    STACK_OF(X509)* ofFile = nullptr;
    const int code = CertificatePrivateKeyFactory::generateX509Certificates(fileWith(text), nullptr, &ofFile);
    const OpenSslPtr<STACK_OF(X509)> ofFileOwner(ofFile);
    require(sk_X509_num(ofFile) == (code == 0 ? length : -1), "as many out of a file");
    for (const auto level : {CRL_CHECK_LEAF, CRL_CHECK_CHAIN}) {
        STACK_OF(X509)* read = nullptr;
        const int result = CrlUtil::getX509CertsToGetCrlsFor(text, level, &read);
        const OpenSslPtr<STACK_OF(X509)> owner(read);
        const int count = level == CRL_CHECK_LEAF ? 1 : length;
        require(sk_X509_num(read) == (result == 0 ? count : -1), "as many as are needed");
        require(result != 0 || derOf(sk_X509_value(read, 0)) == first, "the first one first");
    }
    require(X509CertChain(text, INIT_TYPE_BLOB, true).getCertChainLength() == 1, "the leaf alone");
}

} // namespace

void fuzz::tryOut(const std::string& input) {
    const std::string text = armoured(input, PEM_STRING_X509);
    const OpenSslPtr<BIO> bio = over(text);
    for (PemBlock block; block.read(bio.get());) {
        if (block.name() == pemEncryptedKey && isCostly(textOf(block.data(), block.length()))) {
            return;
        }
    }
    const OpenSslPtr<X509> expected(PEM_read_bio_X509(over(text).get(), nullptr, refusePassPhrase, nullptr));
    noteSslError();
    const bool isRead = succeeds([&] {
        X509Certificate certificate(text, INIT_TYPE_BLOB);
        ask(certificate, expected.get());
    });
    require(isRead == (expected != nullptr), "what OpenSSL reads is read");
    succeeds([&] { checkChain(text); });
    char passPhrase[] = "secret";
    EVP_PKEY* key = nullptr;
    const int code = CertificatePrivateKeyFactory::generateEVP_PKEY(fileWith(text), nullptr, nullptr, passPhrase, &key);
    int encrypted = 7;
    const int told = PrivateKeyUtils::is_private_key_file_encrypted(fileWith(text), nullptr, &encrypted);
    require((code == 0) == (key != nullptr) && (told == 0) == (encrypted != 7), "a key and its kind, or failures");
    require(ERR_peek_error() == 0, "no error is left behind");
    EVP_PKEY_free(key);
}
