// Which encoding a revocation list has, and reading it. DER is always tried first.

#include <climits>
#include <new>
#include <string>
#include <utility>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/CrlUtil.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"
#include "revocation/CrlFile.h"
#include "revocation/OpenSslErrorLog.h"
#include "x509/PassPhrase.h"

using namespace CmnCrypto;

namespace {

constexpr const char* fileTag = "CrlUtil::getCrlFormat(file)";
constexpr const char* bufferTag = "CrlUtil::getCrlFormat(Buf)";
constexpr const char* readTag = "CrlUtil::getX509Crl";

struct FoundList {
    OpenSslPtr<X509_CRL> crl;
    CrlFormat format = CRL_FORMAT_UNKNOWN;
};

/** Logs what was found. */
FoundList found(const char* function, OpenSslPtr<X509_CRL> crl, CrlFormat format) {
    clogmsg(logInfo, function, format == CRL_FORMAT_DER ? "CRL is in DER format" : "CRL is in PEM format");
    return {std::move(crl), format};
}

/** Logs that nothing was found. */
FoundList unknown(const char* function) {
    clogmsg(logFailure, function, "Unknown CRL format");
    return {};
}

/** Logs a failure. @return its code */
int failure(const char* function, const char* text, int code) {
    clogmsg(logFailure, function, "%s", text);
    return code;
}

/** Runs the body of a member that never throws. */
template <class Body> int withoutExceptions(const char* function, Body&& body) noexcept {
    try {
        CmnApi::initOpenssl();
        const ossl::ErrorScope errors;
        return body();
    } catch (const std::bad_alloc&) {
        return failure(function, "Failed to allocate BIO", codeNoMemory);
    }
}

int failedOpen(const char* function, int code) {
    return failure(function, code == codeNoMemory ? "Failed to allocate BIO" : "Failed to load CRL in memory", code);
}

int findInFile(const std::string& path, const char* function, FoundList& list) {
    CrlFile file;
    if (const int code = file.open(path); code != 0) {
        const unsigned long error = ERR_peek_last_error(); // a log callback may empty the queue
        failedOpen(function, code);
        if (function == readTag && code == codeReadFailed) {
            logOpenSslError(function, error);
        }
        return code;
    }
    if (OpenSslPtr<X509_CRL> crl = file.readDer()) {
        list = found(function, std::move(crl), CRL_FORMAT_DER);
        return 0;
    }
    if (function == fileTag || ERR_peek_error() != 0) { // of an empty file OpenSSL says nothing
        clogmsg(logInfo, function, "CRL is not in DER format");
        ossl::clearErrors();
    }
    if (const int code = file.open(path); code != 0) {
        return failedOpen(function, code);
    }
    OpenSslPtr<X509_CRL> crl = file.readPem();
    list = crl ? found(function, std::move(crl), CRL_FORMAT_PEM) : unknown(function);
    return 0;
}

int findInBuffer(const BIO* bio, const char* function, FoundList& list) {
    if (bio == nullptr) {
        return failure(function, "Input BIO is NULL", codeInvalidArgument);
    }
    const unsigned char* data = nullptr;
    // Asking for its bytes changes nothing in a BIO.
    const long length = BIO_get_mem_data(const_cast<BIO*>(bio), &data); // NOLINT(cppcoreguidelines-pro-type-const-cast)
    if (length < 1 || data == nullptr) {
        return failure(function, "BIO_get_mem_data() failed", codeReadFailed);
    }
    if (length > INT_MAX) { // more than a second BIO takes
        if (function == readTag) {
            // The two texts are exchanged, here only: hosts look for the pair as it has always been.
            return failure("Failed to read from the BIO.", readTag, codeReadFailed);
        }
        return failure(function, "Failed to read from the BIO.", codeReadFailed);
    }
    clogmsg(logInfo, function, "Checking for DER format...");
    const unsigned char* position = data;
    if (OpenSslPtr<X509_CRL> crl{d2i_X509_CRL(nullptr, &position, length)}) {
        list = found(function, std::move(crl), CRL_FORMAT_DER);
        return 0;
    }
    ossl::clearErrors();
    const OpenSslPtr<BIO> text(BIO_new_mem_buf(data, static_cast<int>(length)));
    if (!text) {
        return failure(function, "Failed to allocate BIO", codeNoMemory);
    }
    clogmsg(logInfo, function, "CRL is not in DER format. Checking for PEM format...");
    OpenSslPtr<X509_CRL> crl(PEM_read_bio_X509_CRL(text.get(), nullptr, refusePassPhrase, nullptr));
    list = crl ? found(function, std::move(crl), CRL_FORMAT_PEM) : unknown(function);
    return 0;
}

/** Hands a list out that was found. */
int handOut(FoundList& list, X509_CRL** crl) {
    *crl = list.crl.release();
    return *crl == nullptr ? codeNotCrl : 0;
}

} // namespace

int CrlUtil::getCrlFormat(const std::string& path, CrlFormat& format) {
    format = CRL_FORMAT_UNKNOWN;
    return withoutExceptions(fileTag, [&] {
        FoundList list;
        const int result = findInFile(path, fileTag, list);
        format = list.format;
        return result;
    });
}

int CrlUtil::getCrlFormat(BIO* bio, CrlFormat& format) {
    format = CRL_FORMAT_UNKNOWN;
    return withoutExceptions(bufferTag, [&] {
        FoundList list;
        const int result = findInBuffer(bio, bufferTag, list);
        format = list.format;
        return result;
    });
}

int CrlUtil::getX509Crl(const std::string& path, X509_CRL** crl) {
    if (crl == nullptr) {
        return failure(readTag, "x509Crl is NULL", codeInvalidArgument);
    }
    *crl = nullptr;
    return withoutExceptions(readTag, [&] {
        FoundList list;
        const int result = findInFile(path, readTag, list);
        return result != 0 ? result : handOut(list, crl);
    });
}

int CrlUtil::getX509Crl(const BIO* bio, X509_CRL** crl) {
    if (crl == nullptr) {
        return failure(readTag, "x509Crl is NULL", codeInvalidArgument);
    }
    *crl = nullptr;
    return withoutExceptions(readTag, [&] {
        FoundList list;
        const int result = findInBuffer(bio, readTag, list);
        return result != 0 ? result : handOut(list, crl);
    });
}
