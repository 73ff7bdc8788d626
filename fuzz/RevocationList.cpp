// Revocation lists in DER and PEM: conversions, questions, files, chains, and the decision about a certificate.

#include <climits>

#include "Harness.h"
#include "x509/PassPhrase.h"

using namespace fuzz;
using List = OpenSslPtr<X509_CRL>;

namespace {

/** What OpenSSL reads. */
List parsed(const std::string& input, bool isDer) {
    const unsigned char* data = bytesOf(input);
    List list(isDer ? d2i_X509_CRL(nullptr, &data, static_cast<long>(input.size()))
                    : PEM_read_bio_X509_CRL(over(input).get(), nullptr, refusePassPhrase, nullptr));
    noteSslError();
    return list;
}

std::string derOf(const X509_CRL* list) {
    return written([&](BIO* bio) { i2d_X509_CRL_bio(bio, list); });
}

void ask(const Crl& crl, const X509_CRL* expected) {
    const std::string der = derOf(expected);
    require(derOf(crl.getX509Crl()) == der && derOf(parsed(crl.getPemCrl(), false).get()) == der, "object and PEM");
    require(derOf(parsed({crl.getDerCrl().begin(), crl.getDerCrl().end()}, true).get()) == der, "DER is the same list");
    require(crl.getIssuer() == X509_CRL_get_issuer(expected), "the issuer");
    require(crl.isDeltaCRL() == (X509_CRL_get_ext_by_NID(expected, NID_delta_crl, -1) >= 0), "a delta's mark");
    require(crl.isExpired() == CrlUtil::isCrlExpired(crl.getX509Crl()) && crl.getCrlNumber() >= LONG_MIN, "expired");
    Crl copy(crl);
    Crl other;
    other.swap(copy);
    require(other == crl && !other.isNewerThan(crl) && crl.isNewerThan(copy), "as new as its copy, newer than none");
    require(Crl(expected).getPemCrl() == written([&](BIO* bio) { PEM_write_bio_X509_CRL(bio, expected); }), "PEM");
}

/** Reads a list out of a file or a memory BIO. */
void read(const std::string& input, bool isFile, const X509_CRL* expected, CrlFormat expectedFormat) {
    const OpenSslPtr<BIO> bio = over(input);
    CrlFormat format = CRL_FORMAT_UNKNOWN;
    auto* list = reinterpret_cast<X509_CRL*>(&format); // to be set, and never looked at
    succeeds([&] {
        const BIO* const source = bio.get();
        isFile ? CrlUtil::getCrlFormat(fileWith(input), format) : CrlUtil::getCrlFormat(bio.get(), format);
        isFile ? CrlUtil::getX509Crl(fileWith(input), &list) : CrlUtil::getX509Crl(source, &list);
    });
    const List owner(list);
    require(format == expectedFormat && derOf(list) == derOf(expected), "the list and its format");
    require(BIO_ctrl_pending(bio.get()) == input.size(), "nothing is taken from the BIO");
}

/** Asks about the first entry of a list, which is signed for it. The second question is answered in another way. */
void decide(X509_CRL* list) {
    static EVP_PKEY* key = nullptr;
    static X509* issuer = nullptr;
    subTokenValuePair subject{"CN", "host", nullptr};
    if (issuer == nullptr) {
        cmncrypto_generatePrivateKey(1024, &key);
        cmncrypto_generateSelfSignCertificate(1, HASH_ALGO_SHA256, &subject, &key, &issuer);
    }
    X509_REVOKED* entry = sk_X509_REVOKED_value(X509_CRL_get_REVOKED(list), 0);
    if (entry == nullptr || X509_CRL_sign(list, key, EVP_sha256()) == 0) {
        return ERR_clear_error();
    }
    X509_set_serialNumber(issuer, const_cast<ASN1_INTEGER*>(X509_REVOKED_get0_serialNumber(entry)));
    X509Certificate certificate(issuer, false);
    X509CertChain bundle;
    bundle.addCertToCertChain(certificate);
    const Crl crl(list);
    const bool isListed = X509_CRL_get0_by_serial(list, &entry, X509_get0_serialNumber(issuer)) == 1;
    for (int i = 0; i < 2; ++i) {
        RevokeInfo info;
        const CCRYPTStatus status = crl.checkCertRevokeStatus(&bundle, 3000000000U, &certificate, &info);
        const std::unique_ptr<char[]> serial(info.serialNumber);
        require(status == CCRYPT_CRL_STALE || (status == CCRYPT_CERT_REVOKED) == isListed, "as OpenSSL finds it");
        require((status == CCRYPT_CERT_REVOKED) == (serial != nullptr), "filled for a revoked certificate only");
    }
}

} // namespace

void fuzz::tryOut(const std::string& input) {
    const std::string text = armoured(input, PEM_STRING_X509_CRL);
    const List der = parsed(input, true);
    const List pem = parsed(text, false);
    const bool isDer = succeeds([&] { ask(Crl(BinaryData(input.begin(), input.end())), der.get()); });
    const bool isPem = succeeds([&] { ask(Crl(text), pem.get()); });
    require(isDer == (der != nullptr) && isPem == (pem != nullptr), "what OpenSSL reads is read");
    for (const bool isFile : {false, true}) {
        read(text, isFile, pem.get(), pem ? CRL_FORMAT_PEM : CRL_FORMAT_UNKNOWN);
        if (der) {
            read(input, isFile, der.get(), CRL_FORMAT_DER);
        }
    }
    succeeds([&] {
        const X509CrlChain chain(text);
        for (unsigned int i = 0; i < chain.getCRLChainLength(); ++i) {
            const List list(chain.getCRLatIndex(i));
            require(i > 0 || derOf(list.get()) == derOf(pem.get()), "the first list first");
        }
    });
    if (pem) {
        succeeds([&] { decide(pem.get()); });
    }
}
