#include "x509/NameText.h"

#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto {

namespace {

constexpr const char* nameTag = "X509Name::getNameDN";

std::string oneLine(const X509_NAME* name) {
    char buffer[1024] = {};
    if (X509_NAME_oneline(name, buffer, sizeof buffer) == nullptr) {
        failWithSslErrors(nameTag, "X509_NAME_oneline() failed to get cert issuer name. with error %s",
                          "X509_NAME_oneline() failed to get cert issuer name.", CmnException::noCode);
    }
    return buffer; // OpenSSL has cut a longer name to the buffer
}

std::string printed(const X509_NAME* name, unsigned long flags) {
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    if (!bio) {
        fail(nameTag, "Failed to allocate BIO.", codeNoMemory);
    }
    const int result = X509_NAME_print_ex(bio.get(), name, 0, flags);
    if (result == 0) {
        clogmsg(logFailure, nameTag, "Unable to print name to BIO. Returning empty name");
        return {};
    }
    const char* text = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &text);
    if (result < 0 || length < 1) {
        failWithSslErrors(nameTag, "Failed to read name from BIO. with error %s", "Failed to read name from BIO.",
                          CmnException::noCode);
    }
    return {text, static_cast<size_t>(length)};
}

} // namespace

std::string nameText(const X509_NAME* name, _name_format format) {
    const ossl::ErrorScope errors;
    switch (format) {
    case NAME_FORMAT_LEGACY_ONELINE:
        return oneLine(name);
    case NAME_FORMAT_ONELINE:
        return printed(name, XN_FLAG_ONELINE);
    case NAME_FORMAT_RFC2253:
        return printed(name, XN_FLAG_RFC2253);
    }
    return {};
}

} // namespace CmnCrypto
