#include "cmncrypto/X509CertChain.h"

#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "cmncrypto/CertificatePrivateKeyFactory.h"
#include "cmncrypto/CmnApi.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"
#include "x509/NewFile.h"
#include "x509/PassPhrase.h"

namespace CmnCrypto {

namespace {

constexpr const char* blobTag = "X509CertChain::initUsingBlob";

/** Throws without logging: initUsingBlob() logs what it lets through. */
[[noreturn]] void refuseBlob(const char* text, int32_t code) {
    throw CmnException(text, code);
}

/** Every object of a PEM text. */
OpenSslPtr<STACK_OF(X509_INFO)> readObjects(const std::string& blob) {
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    if (!bio) {
        refuseBlob("Failed to allocate memory for certBio", codeNoMemory);
    }
    size_t written = 0;
    if (blob.size() > INT_MAX || BIO_write_ex(bio.get(), blob.data(), blob.size(), &written) != 1 ||
        written != blob.size()) {
        refuseBlob("Failed to write certs in certBio", codeWriteFailed);
    }
    OpenSslPtr<STACK_OF(X509_INFO)> objects(PEM_X509_INFO_read_bio(bio.get(), nullptr, refusePassPhrase, nullptr));
    if (!objects) {
        refuseBlob("PEM_X509_INFO_read_bio() failed to read certBio", codeReadFailed);
    }
    return objects;
}

/** Logs @p text with OpenSSL's errors and throws it. */
[[noreturn]] void failLeaf(const char* text) {
    clogmsg(logFailure, "X509CertChain::getX509LeafCertFromBlob", "%s with error %s", text, drainSslErrors().c_str());
    throw CmnException(text, codeNoMemory);
}

} // namespace

X509CertChain::X509CertChain(const STACK_OF(X509)* certificates) : X509CertChain() {
    CmnApi::initOpenssl();
    if (certificates == nullptr) {
        fail("X509CertChain::X509CertChain", "certChainInput is NULL for object constructor", codeInvalidArgument);
    }
    pushCertStackToVector(certificates);
}

X509CertChain::X509CertChain(const std::string& source, _INIT_TYPE type, bool leafOnly) : X509CertChain() {
    CmnApi::initOpenssl();
    if (type == INIT_TYPE_BLOB) {
        initUsingBlob(source, leafOnly);
        return;
    }
    if (leafOnly) {
        fail("X509CertChain::X509CertChain", "leafOnly option is not available for filepath input",
             codeInvalidArgument);
    }
    initUsingPath(source);
}

X509CertChain::~X509CertChain() {
    clearCertChainMemory();
}

void X509CertChain::initUsingPath(const std::string& path) {
    STACK_OF(X509)* read = nullptr;
    const int result = CertificatePrivateKeyFactory::generateX509Certificates(path, CmnApi::cert_util_logger, &read);
    const OpenSslPtr<STACK_OF(X509)> certificates(read);
    if (result != 0) {
        fail("X509CertChain::initUsingPath", "Error in extracting certificates from certificate file path", result);
    }
    // Nobody else knows the stack: its certificates change hands, where a copy of each would be parsed anew.
    while (X509* certificate = sk_X509_shift(certificates.get())) {
        pushCertToVector(certificate);
    }
}

void X509CertChain::initUsingBlob(const std::string& blob, bool leafOnly) try {
    const ossl::ErrorScope errors;
    if (blob.empty()) {
        clearCertChainMemory();
        refuseBlob("Input certsBlob found empty", codeNotX509);
    }
    if (leafOnly) {
        clogmsg(logInfo, blobTag, "Extracting only leaf certificate from blob");
        pushCertToVector(getX509LeafCertFromBlob(blob.c_str()));
        return;
    }
    const OpenSslPtr<STACK_OF(X509_INFO)> objects = readObjects(blob);
    for (int i = 0; i < sk_X509_INFO_num(objects.get()); ++i) {
        clogmsg(logInfo, blobTag, "Extracting X509InfoStack at index: %d", i);
        X509_INFO* const object = sk_X509_INFO_value(objects.get(), i);
        if (object->x509 != nullptr) {
            pushCertToVector(std::exchange(object->x509, nullptr));
            clogmsg(logInfo, blobTag, "Successfully pushed x509 certificate at index: %d to vector", i);
        }
    }
    if (m_certificates.empty()) {
        refuseBlob("Certificate(s) not found in input certs", CmnException::noCode);
    }
} catch (const CmnException& failure) {
    clogmsg(logFailure, blobTag, "Error: %s with errorcode: %d", failure.what(), failure.getErrorCode());
    throw;
}

void X509CertChain::addCertToCertChain(const X509Certificate& certificate) {
    std::unique_ptr<X509Certificate> copy(certificate.X509Certificate_dup());
    if (!copy) {
        throw std::bad_alloc();
    }
    m_certificates.push_back(copy.get());
    static_cast<void>(copy.release());
}

void X509CertChain::pushCertToVector(X509* certificate) {
    OpenSslPtr<X509> owner(certificate);
    auto object = std::make_unique<X509Certificate>(owner.get(), true);
    static_cast<void>(owner.release());
    m_certificates.push_back(object.get());
    static_cast<void>(object.release());
}

void X509CertChain::pushCertStackToVector(const STACK_OF(X509)* certificates) {
    for (int i = 0; i < sk_X509_num(certificates); ++i) {
        auto object = std::make_unique<X509Certificate>(static_cast<const X509*>(sk_X509_value(certificates, i)));
        m_certificates.push_back(object.get());
        static_cast<void>(object.release());
    }
}

X509Certificate* X509CertChain::getCert(size_t position) const {
    constexpr const char* function = "X509CertChain::getCert";
    if (position >= m_certificates.size()) {
        fail(function, "Either certificate chain is empty or requested position is out of range",
             codeNoSuchCertificate);
    }
    X509Certificate* const copy = m_certificates[position]->X509Certificate_dup();
    clogmsg(logInfo, function, "Successfully extracted certificate from pos = %zu", position);
    return copy;
}

X509Certificate* X509CertChain::getLeafCert() const {
    return getCert(0);
}

X509Certificate* X509CertChain::getRootCert() const {
    return getCert(m_certificates.size() - 1); // of an empty chain: a position that no chain has
}

std::vector<X509Certificate*>::const_iterator X509CertChain::getCertChainBegin() const noexcept {
    return m_certificates.begin();
}

std::vector<X509Certificate*>::const_iterator X509CertChain::getCertChainEnd() const noexcept {
    return m_certificates.end();
}

size_t X509CertChain::getCertChainLength() const noexcept {
    return m_certificates.size();
}

STACK_OF(X509)* X509CertChain::getX509CertificateStack() const {
    constexpr const char* function = "X509CertChain::getX509CertificateStack()";
    const ossl::ErrorScope errors;
    if (m_certificates.empty()) {
        clogmsg(logWarning, function, "Certificate chain is empty so returning NULL");
        return nullptr;
    }
    OpenSslPtr<STACK_OF(X509)> stack(sk_X509_new_null());
    if (!stack) {
        fail(function, "Failed to allocate memory for lc_x509Certs.", codeNoMemory);
    }
    for (const X509Certificate* certificate : m_certificates) {
        OpenSslPtr<X509> copy(certificate->getX509() == nullptr ? nullptr : X509_dup(certificate->getX509()));
        if (!copy || sk_X509_push(stack.get(), copy.get()) == 0) {
            fail(function, "sk_X509_push() failed to push X509 cert", codeNoMemory);
        }
        static_cast<void>(copy.release());
    }
    return stack.release();
}

X509* X509CertChain::getX509LeafCertFromBlob(const char* pem) {
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    if (pem == nullptr) {
        fail("X509CertChain::getX509LeafCertFromBlob", "Input certChain found null.", codeInvalidArgument);
    }
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    if (!bio) {
        failLeaf("Failed to allocate memory for certBio.");
    }
    const size_t length = std::strlen(pem);
    const int written = length > INT_MAX ? -1 : BIO_write(bio.get(), pem, static_cast<int>(length));
    if (written < 0 || static_cast<size_t>(written) != length) {
        failLeaf("Failed to write certchain into bio.");
    }
    X509* const certificate = PEM_read_bio_X509_AUX(bio.get(), nullptr, refusePassPhrase, nullptr);
    if (certificate == nullptr) {
        failLeaf("PEM_read_bio_X509_AUX() failed to read cert from certBio.");
    }
    return certificate;
}

std::string X509CertChain::getPemString() const {
    if (m_certificates.empty()) {
        clogmsg(logWarning, "X509CertChain::getPemString", "Certificate chain is empty so returning empty string.");
    }
    std::string text;
    for (const X509Certificate* certificate : m_certificates) {
        text += certificate->getPemString();
    }
    return text;
}

void X509CertChain::saveToFile(const std::string& path) const {
    constexpr const char* function = "X509CertChain::saveToFile";
    const ossl::ErrorScope errors;
    if (m_certificates.empty()) {
        fail(function, "No certificate in chain to write", "Certificate chain is empty", codeNoSuchCertificate);
    }
    NewFile file(function, path, codeChainFileExists);
    for (const X509Certificate* certificate : m_certificates) {
        file.write(certificate->getX509());
    }
    file.finish();
    clogmsg(logInfo, function, "Successfully stored certificate chain at file path %s", path.c_str());
}

void X509CertChain::clearCertChainMemory() {
    for (const X509Certificate* certificate : m_certificates) {
        delete certificate;
    }
    m_certificates.clear();
}

} // namespace CmnCrypto
