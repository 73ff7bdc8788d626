#include "ReadableName.h"

#include <new>

#include <openssl/err.h>
#include <openssl/x509.h>

#include "OpenSslOwner.h"

namespace CmnCrypto::Cli {

namespace {

std::string nameText(const X509_NAME* name, unsigned long form) {
    const OwnedBio bio(BIO_new(BIO_s_mem()));
    if (!bio) {
        throw std::bad_alloc();
    }
    const unsigned long flags = form & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB);
    const bool printed = X509_NAME_print_ex(bio.get(), name, 0, flags) >= 0;
    ERR_clear_error();
    char* text = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &text);
    return printed && length > 0 ? std::string(text, static_cast<size_t>(length)) : "(unreadable)";
}

} // namespace

std::string readableName(const X509_NAME* name) {
    return X509_NAME_entry_count(name) == 0 ? "(empty)" : nameText(name, XN_FLAG_ONELINE);
}

std::string readableName(const X509Name& name) {
    return readableName(name.getX509Name());
}

std::string rfc2253Name(const X509_NAME* name) {
    return X509_NAME_entry_count(name) == 0 ? "" : nameText(name, XN_FLAG_RFC2253);
}

} // namespace CmnCrypto::Cli
