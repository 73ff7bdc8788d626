// Revocation through the classes: where lists come from, the decision with one list, and chains verified with lists.
// Usage: revocation ROOT ISSUER LISTS LEAF...     (PEM files; LISTS holds the root's list and the issuer's)
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "cmncrypto/cmncrypto.hpp"

using namespace CmnCrypto;

namespace {

constexpr unsigned int oneDay = 24 * 60 * 60;

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::string content(std::istreambuf_iterator<char>(file), {});
    if (!file || content.empty()) {
        throw std::runtime_error(path + ": no content");
    }
    return content;
}

// From where the lists for a certificate can be fetched; fetching is the host's.
void showSources(const X509Certificate& certificate) {
    std::bitset<9> reasons; // none: a list for any reasons will do
    unsigned int count = 0; // of the distribution points, those that do not serve included
    std::vector<std::string> urls;
    if (CrlUtil::getHttpURLsFromCertCDPs(certificate.getX509(), reasons, count, urls) != 0) {
        throw std::runtime_error("the distribution points cannot be read");
    }
    for (const std::string& url : urls) {
        std::string server;
        int port = 0;
        if (CrlUtil::parseURL(url, server, port) == 0) {
            std::cout << "source  " << url << " at " << server << ", port " << port << '\n';
        }
    }
}

// The list of one issuer out of many.
std::unique_ptr<Crl> listOf(const std::string& listsPem, const X509Certificate& issuer) {
    const X509CrlChain lists(listsPem);
    for (unsigned int i = 0; i < lists.getCRLChainLength(); ++i) {
        const std::unique_ptr<X509_CRL, decltype(&X509_CRL_free)> copy(lists.getCRLatIndex(i), X509_CRL_free);
        auto list = std::make_unique<Crl>(copy.get()); // a copy of its own
        if (list->getIssuer() == issuer.getSubject()) {
            return list;
        }
    }
    throw std::runtime_error("no list of that issuer");
}

// The decision. True only when a fresh list of this issuer does not name the certificate; whatever keeps the list from
// being used counts as revoked.
bool isGood(const Crl& list, X509CertChain& issuer, X509Certificate& certificate) {
    if (!(list.getIssuer() == certificate.getIssuer())) {
        std::cout << "list    cannot tell: it is another issuer's, where the same number means another certificate\n";
        return false;
    }
    RevokeInfo info;
    CCRYPTStatus status = CCRYPT_CRL_VERIFY_ERROR;
    try {
        status = list.checkCertRevokeStatus(&issuer, oneDay, &certificate, &info);
    } catch (const CmnException& unusable) {
        std::cout << "list    cannot tell: " << unusable.what() << '\n';
        return false;
    }
    const std::unique_ptr<char[]> serial(info.serialNumber); // ours to release
    switch (status) {
    case CCRYPT_SUCCESS:
        std::cout << "list    good\n";
        return true;
    case CCRYPT_CERT_REVOKED:
        std::cout << "list    revoked " << serial.get() << " at " << info.revocationTime << ", reason " << info.reason
                  << '\n';
        return false;
    default:
        std::cout << "list    stale: fetch the list again\n";
        return false;
    }
}

// Asked at every step: "ok" is OpenSSL's own answer, which stands when it is returned.
int answer(int ok, X509_STORE_CTX* context) {
    X509StoreCtx view(context);
    if (ok == 0) {
        std::cout << "asked   error " << view.getError() << " at depth " << view.getErrorDepth() << '\n';
        return ok;
    }
    try {
        const X509Certificate certificate(view.getCurrentCert(), false); // borrowed
        certificate.validateAlgorithm();
        return ok;
    } catch (const std::exception&) { // nothing may leave a callback
        view.setErrorValue(X509_V_ERR_CA_MD_TOO_WEAK);
        return 0;
    }
}

// Verifies chains with lists; the store serves any number of them.
X509Store storeFor(const std::string& trustedPem, const std::string& listsPem) {
    X509Store store;
    store.setTrustedCerts(trustedPem);
    store.setCrl(listsPem);
    store.setCrlCheckLevel(CRL_CHECK_CHAIN); // without a level the lists are not looked at
    store.setVerifyCallback(answer);
    return store;
}

// The result only tells whether there is a chain: the outcome is in the status.
bool isAccepted(X509Store& store, const std::string& chainPem) {
    store.verifyX509Cert(chainPem);
    const _storeStatus& status = store.getStatus();
    std::cout << "store   " << status.code << ": " << status.message << '\n';
    if (status.verified) {
        const X509CertChain* chain = store.getVerifiedX509CertChain(); // the store's, until the next verification
        std::cout << "chain   of " << chain->getCertChainLength() << " certificates\n";
    }
    return status.verified;
}

void run(const std::string& rootPath, const std::string& issuerPath, const std::string& listsPath,
         const std::vector<std::string>& leafPaths) {
    const std::string issuerPem = contentOf(issuerPath);
    const std::string listsPem = contentOf(listsPath);
    X509CertChain issuer(issuerPem, INIT_TYPE_BLOB); // the issuer of the list comes first
    const std::unique_ptr<Crl> list = listOf(listsPem, **issuer.getCertChainBegin());
    X509Store store = storeFor(contentOf(rootPath), listsPem);
    for (const std::string& path : leafPaths) {
        const std::string leafPem = contentOf(path);
        X509Certificate leaf(leafPem, INIT_TYPE_BLOB);
        std::cout << "leaf    " << leaf.getSubjectAsString(NAME_FORMAT_RFC2253) << '\n';
        showSources(leaf);
        const bool good = isGood(*list, issuer, leaf);
        const bool accepted = isAccepted(store, leafPem + issuerPem);
        std::cout << "verdict " << (good ? "good" : "not good") << ", " << (accepted ? "accepted" : "rejected") << '\n';
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 5) {
        std::cerr << "usage: revocation ROOT ISSUER LISTS LEAF...\n";
        return EXIT_FAILURE;
    }
    try {
        run(argv[1], argv[2], argv[3], {argv + 4, argv + argc});
        return EXIT_SUCCESS;
    } catch (const CmnException& e) {
        std::cerr << e.what() << " (" << e.getErrorCode() << ")\n";
    } catch (const std::exception& e) {
        std::cerr << e.what() << '\n';
    }
    return EXIT_FAILURE;
}
