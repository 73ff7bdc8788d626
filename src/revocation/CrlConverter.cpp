#include "cmncrypto/CrlConverter.h"

#include <algorithm>
#include <climits>
#include <new>
#include <utility>

#include "cmncrypto/CmnApi.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"
#include "x509/PassPhrase.h"

using namespace CmnCrypto;

namespace {

constexpr char pemBegin[] = "-----BEGIN " PEM_STRING_X509_CRL "-----\n";
constexpr char pemEnd[] = "-----END " PEM_STRING_X509_CRL "-----\n";
constexpr size_t pemBeginLength = sizeof pemBegin - 1;
constexpr size_t pemEndLength = sizeof pemEnd - 1;
constexpr size_t lineBytes = 48; ///< in a line of 64 characters

int failConversion(const char* function, const char* text, int code) {
    clogmsg(logFailure, function, "%s", text);
    return code;
}

/** @return the length of a list's encoding, 0 when it cannot be written */
size_t encodedLength(X509_CRL* crl) {
    const int length = crl == nullptr ? -1 : i2d_X509_CRL(crl, nullptr);
    return length > 0 ? static_cast<size_t>(length) : 0;
}

/** Writes the encoding of @p length bytes to @p out. @return whether it fits exactly */
bool encode(X509_CRL* crl, unsigned char* out, size_t length) {
    return i2d_X509_CRL(crl, &out) == static_cast<int>(length);
}

size_t base64Length(size_t length) {
    const size_t lines = (length + lineBytes - 1) / lineBytes;
    return (length + 2) / 3 * 4 + lines;
}

/**
 * Writes @p length bytes as lines of Base64 to @p out. The input may stand behind the output in the same memory:
 * a line moves the place to write on by 65 and the place to read by 48, so that as long as what is still to come has
 * room the first never reaches the second.
 */
unsigned char* writeBase64(unsigned char* out, const unsigned char* in, size_t length) {
    while (length > 0) {
        const size_t piece = length < lineBytes ? length : lineBytes;
        unsigned char line[lineBytes / 3 * 4 + 1];
        const int written = EVP_EncodeBlock(line, in, static_cast<int>(piece));
        out = std::copy(line, line + written, out);
        *out++ = '\n';
        in += piece;
        length -= piece;
    }
    return out;
}

} // namespace

int CrlConverter::derToX509Crl(const BinaryData& der, X509_CRL** crl) {
    constexpr const char* function = "CrlConverter::derToX509Crl";
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    OpenSslPtr<X509_CRL> read;
    if (der.size() > LONG_MAX) {
        return failConversion(function, "Failed to write DER encoding to BIO.", codeCrlNotRead);
    }
    // Straight from the bytes: a BIO between would copy a long list several times while its buffer grows.
    const unsigned char* position = der.data();
    read.reset(der.empty() ? nullptr : d2i_X509_CRL(nullptr, &position, static_cast<long>(der.size())));
    if (crl != nullptr) {
        *crl = read.get();
    }
    if (!read && ERR_GET_REASON(ERR_peek_last_error()) == ERR_R_MALLOC_FAILURE) {
        return failConversion(function, "Failed to allocate BIO.", codeNoMemory);
    }
    if (!read || crl == nullptr) {
        return failConversion(function, "Failed to convert DER format to X509_CRL.", codeCrlNotRead);
    }
    static_cast<void>(read.release());
    return 0;
}

int CrlConverter::pemToX509Crl(const std::string& pem, X509_CRL** crl) {
    constexpr const char* function = "CrlConverter::pemToX509Crl";
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    OpenSslPtr<X509_CRL> read;
    const OpenSslPtr<BIO> bio(BIO_new_mem_buf(pem.c_str(), -1));
    if (bio) {
        read.reset(PEM_read_bio_X509_CRL(bio.get(), nullptr, refusePassPhrase, nullptr));
    }
    if (crl != nullptr) {
        *crl = read.get();
    }
    if (!bio) {
        return failConversion(function, "Failed to write PEM encoding to BIO.", codeCrlNotRead);
    }
    if (!read || crl == nullptr) {
        return failConversion(function, "Could not convert PEM encoding to X509_CRL.", codeCrlNotRead);
    }
    static_cast<void>(read.release());
    return 0;
}

int CrlConverter::x509CrlToDer(X509_CRL* crl, BinaryData& der) try {
    constexpr const char* function = "CrlConverter::x509CrlToDer";
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    const size_t length = encodedLength(crl);
    if (length == 0) {
        return failConversion(function, "Failed to convert X509_CRL to DER.", codeCrlNotWritten);
    }
    BinaryData encoding(length);
    if (!encode(crl, encoding.data(), length)) {
        return failConversion(function, "Failed to read DER encoded CRL from BIO.", codeCrlNotWritten);
    }
    der = std::move(encoding);
    return 0;
} catch (const std::bad_alloc&) {
    return failConversion("CrlConverter::x509CrlToDer", "Failed to allocate BIO.", codeNoMemory);
}

int CrlConverter::x509CrlToPem(X509_CRL* crl, std::string& pem) try {
    constexpr const char* function = "CrlConverter::x509CrlToPem";
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    const size_t length = encodedLength(crl);
    if (length == 0) {
        return failConversion(function, "Unable to convert X509_CRL to PEM.", codeCrlNotWritten);
    }
    // The encoding goes to the end of the text's memory and is overwritten from the begin: a long list then needs no
    // second buffer.
    std::string text(pemBeginLength + base64Length(length) + pemEndLength, '\0');
    auto* const begin = reinterpret_cast<unsigned char*>(text.data());
    unsigned char* const encoding = begin + (text.size() - length);
    if (!encode(crl, encoding, length)) {
        return failConversion(function, "Failed to read PEM encoding from BIO.", codeCrlNotWritten);
    }
    unsigned char* const body = std::copy_n(pemBegin, pemBeginLength, begin);
    std::copy_n(pemEnd, pemEndLength, writeBase64(body, encoding, length));
    pem = std::move(text);
    return 0;
} catch (const std::bad_alloc&) {
    return failConversion("CrlConverter::x509CrlToPem", "Failed to allocate BIO.", codeNoMemory);
}
