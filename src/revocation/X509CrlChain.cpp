#include "cmncrypto/X509CrlChain.h"

#include <climits>
#include <cstring>
#include <utility>

#include "cmncrypto/CmnApi.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"
#include "x509/PassPhrase.h"

namespace CmnCrypto {

namespace {

constexpr const char* parserTag = "extractX509CrlFromString()";

/** Logs a failure of the parser, with OpenSSL's errors, and throws it. @param twice log it on its own before, too */
[[noreturn]] void failParsing(const char* text, int32_t code, bool twice = false) {
    const std::string reason = drainSslErrors();
    if (twice) {
        clogmsg(logFailure, parserTag, "%s", text);
    }
    clogmsg(logFailure, parserTag, "SSL Error : %s", reason.c_str());
    clogmsg(logFailure, parserTag, "Caught Exception : %s", text);
    throw CmnException(text, code);
}

/** Every object of a text. */
OpenSslPtr<STACK_OF(X509_INFO)> readObjects(BIO* bio) {
    OpenSslPtr<STACK_OF(X509_INFO)> objects(PEM_X509_INFO_read_bio(bio, nullptr, refusePassPhrase, nullptr));
    if (!objects) {
        failParsing("PEM_X509_INFO_read_bio() failed to read crlBio", CmnException::noCode);
    }
    return objects;
}

/** A view of a text, up to its first NUL. */
OpenSslPtr<BIO> viewOf(const std::string& text) {
    const size_t length = std::strlen(text.c_str());
    if (length > INT_MAX) {
        failParsing("Failed to write crlChainBlob into crlBio", codeWriteFailed);
    }
    OpenSslPtr<BIO> bio(BIO_new_mem_buf(text.c_str(), static_cast<int>(length)));
    if (!bio) {
        failParsing("Failed to allocate memory for crlBio", codeNoMemory);
    }
    return bio;
}

} // namespace

X509CrlChain::X509CrlChain(const std::string& pem) : m_crlChainBlob(pem) {
    constexpr const char* function = "X509CrlChain::X509CrlChain(const string)";
    CmnApi::initOpenssl();
    int result = 0;
    try {
        result = extractX509CrlFromString();
    } catch (const CmnException& failure) {
        clogmsg(logFailure, function, "extractX509CrlFromString failed with reason :%s", failure.what());
        throw CmnException(failure.what(), failure.getErrorCode());
    }
    if (result != 0) {
        // The blanks and "fron" belong to the text: hosts compare it.
        throw CmnException("X509CrlChain constructor failed. Failed to create                         "
                           "crl chain fron crl pem.");
    }
}

X509CrlChain::~X509CrlChain() {
    clogmsg(logTrace, "X509CrlChain::~X509CrlChain()",
            m_x509Crls ? "Removing crl from x509Crls stack." : "CRL stack is already emptied.");
}

int X509CrlChain::extractX509CrlFromString() {
    const ossl::ErrorScope errors;
    if (m_crlChainBlob.empty()) {
        constexpr const char* text = "Input crlChainBlob is empty";
        clogmsg(logFailure, parserTag, "Caught Exception : %s", text);
        throw CmnException(text, codeInvalidArgument);
    }
    const OpenSslPtr<BIO> bio = viewOf(m_crlChainBlob);
    OpenSslPtr<STACK_OF(X509_CRL)> crls(sk_X509_CRL_new_null());
    if (!crls) {
        failParsing("Failed to allocate memory for lc_x509Crls", codeNoMemory);
    }
    const OpenSslPtr<STACK_OF(X509_INFO)> objects = readObjects(bio.get());
    for (int i = 0; i < sk_X509_INFO_num(objects.get()); ++i) {
        X509_INFO* const object = sk_X509_INFO_value(objects.get(), i);
        if (object->crl == nullptr) {
            continue;
        }
        if (sk_X509_CRL_push(crls.get(), object->crl) == 0) {
            constexpr bool twice = true;
            failParsing("sk_X509_CRL_push() failed to push X509 crl", CmnException::noCode, twice);
        }
        object->crl = nullptr; // it is the stack's now
    }
    if (sk_X509_CRL_num(crls.get()) == 0) {
        failParsing("CRL(s) not found in input crlChainBlob", CmnException::noCode);
    }
    m_x509Crls = std::move(crls);
    return 0;
}

uint64_t X509CrlChain::getCRLChainLength() const {
    constexpr const char* function = "getCRLChainLength()";
    if (!m_x509Crls) {
        fail(function, "Caught unexpected error.", CmnException::noCode);
    }
    const int length = sk_X509_CRL_num(m_x509Crls.get());
    clogmsg(logInfo, function, "Length of crl stack is %d", length);
    return static_cast<uint64_t>(length);
}

X509_CRL* X509CrlChain::getCRLatIndex(const unsigned int& index) const {
    constexpr const char* function = "getCRLatIndex()";
    const ossl::ErrorScope errors;
    if (index >= getCRLChainLength()) {
        fail(function, "Input index is not valid limits of crl stack", codeInvalidArgument);
    }
    const X509_CRL* const crl = sk_X509_CRL_value(m_x509Crls.get(), static_cast<int>(index));
    if (crl == nullptr) {
        const std::string reason = drainSslErrors();
        clogmsg(logFailure, function, "Failed to extract X509_CRL at index : %d", static_cast<int>(index));
        clogmsg(logFailure, function, "SSL Error : %s", reason.c_str());
        throw CmnException("Failed to extract X509_CRL at index");
    }
    X509_CRL* const copy = X509_CRL_dup(crl);
    if (copy == nullptr) {
        const std::string reason = drainSslErrors();
        clogmsg(logFailure, function, "Failed to copy X509_CRL");
        clogmsg(logFailure, function, "SSL Error : %s", reason.c_str());
        throw CmnException("Failed to copy X509_CRL", codeNoMemory);
    }
    return copy;
}

const std::string& X509CrlChain::getCrlChainBlob() const noexcept {
    return m_crlChainBlob;
}

STACK_OF(X509_CRL)* X509CrlChain::getX509Crls() const noexcept {
    return m_x509Crls.get();
}

} // namespace CmnCrypto
