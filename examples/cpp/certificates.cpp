// Certificates and keys through the classes: load and show a chain, examine it, load the key of its leaf, make a
// certificate request, sign and verify. Usage: certificates CHAIN KEY [HOST]
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "cmncrypto/cmncrypto.hpp"

using namespace CmnCrypto;

namespace {

void show(const X509Certificate& certificate) {
    std::cout << "subject " << certificate.getSubjectAsString(NAME_FORMAT_RFC2253) << '\n'
              << "issuer  " << certificate.getIssuerAsString(NAME_FORMAT_RFC2253) << '\n'
              << "serial  " << certificate.getSerialNumber() << '\n'
              << "valid   " << certificate.getStartDate() << " to " << certificate.getExpiryDate() << '\n'
              << "key     " << certificate.getKeySize() << " bits\n"
              << "SHA256  " << certificate.generateHash(HASH_ALGO_SHA256) << '\n';
    for (const std::string& name : certificate.getSubjectAltNames()) {
        std::cout << "name    " << name << '\n'; // bytes as they came: escape them before a terminal sees foreign ones
    }
}

// Every reason not to use a certificate; none when it is fit for use with this key.
std::vector<std::string> problems(const X509Certificate& certificate, const X509PublicKey& key) {
    std::vector<std::string> found;
    if (certificate.isCertExpired()) {
        found.emplace_back("it has expired");
    }
    if (!certificate.isCertValidNow()) { // looks at the first date only
        found.emplace_back("it is not valid yet");
    }
    if (!key.verifyCert(certificate.getPemString())) {
        found.emplace_back("it is for another key");
    }
    try {
        certificate.validateAlgorithm();
    } catch (const CmnException& refused) {
        found.emplace_back(refused.what());
    }
    return found;
}

// Reads a chain and shows it; the certificates stay the chain's.
void showChain(const std::string& path) {
    const X509CertChain chain(path, INIT_TYPE_PATH);
    for (auto certificate = chain.getCertChainBegin(); certificate != chain.getCertChainEnd(); ++certificate) {
        show(**certificate);
    }
}

// What getCert() and its like hand out is a copy, and the caller's.
std::unique_ptr<X509Certificate> leafOf(const std::string& path) {
    const X509CertChain chain(path, INIT_TYPE_PATH);
    return std::unique_ptr<X509Certificate>(chain.getLeafCert());
}

// Three failures of getCSR() are plain strings, not a CmnException.
std::string requestFor(const X509PrivateKey& key, const std::string& host) {
    try {
        return key.getCSR(host, "DNS:" + host + ",IP:10.0.0.1");
    } catch (const std::string& refused) {
        throw std::runtime_error(refused);
    }
}

std::string signAndVerify(const X509PrivateKey& key, const X509PublicKey& publicKey, const std::string& text) {
    std::string signature = key.getSign(text, HASH_ALGO_SHA256);
    if (!publicKey.verifySign(text, signature, HASH_ALGO_SHA256)) {
        throw std::runtime_error("the signature does not verify");
    }
    if (publicKey.verifySign(text + '!', signature, HASH_ALGO_SHA256)) {
        throw std::runtime_error("the signature of an altered text verifies");
    }
    return signature;
}

// A failure has been logged before it is thrown; its code says what to do about it.
void tellOfFailure(const std::string& pem) {
    try {
        const X509Certificate certificate(pem, INIT_TYPE_BLOB);
    } catch (const CmnException& failure) {
        std::cout << "refused with " << failure.getErrorCode() << ": " << failure.what() << '\n';
    }
}

void run(const std::string& chainPath, const std::string& keyPath, const std::string& host) {
    showChain(chainPath);

    std::string passPhrase = "only an example";
    const X509PrivateKey key(keyPath, nullptr, passPhrase.data());
    const X509PublicKey publicKey(key.getEVPKey(), false); // borrowed: the key must outlive it
    for (const std::string& problem : problems(*leafOf(chainPath), publicKey)) {
        std::cout << "problem: " << problem << '\n';
    }

    const std::string request = requestFor(key, host);
    const std::unique_ptr<X509PublicKey> requested(X509PublicKey::extractPublicKeyFromCSR(request));
    if ((*requested == publicKey) != 1) {
        throw std::runtime_error("the request is for another key");
    }
    std::cout << request << "signature " << signAndVerify(key, publicKey, host) << '\n';
    tellOfFailure("no certificate");
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::cerr << "usage: certificates CHAIN KEY [HOST]\n";
        return EXIT_FAILURE;
    }
    try {
        run(argv[1], argv[2], argc > 3 ? argv[3] : "host.example.org");
        return EXIT_SUCCESS;
    } catch (const CmnException& e) {
        std::cerr << e.what() << " (" << e.getErrorCode() << ")\n";
    } catch (const std::exception& e) {
        std::cerr << e.what() << '\n';
    }
    return EXIT_FAILURE;
}
