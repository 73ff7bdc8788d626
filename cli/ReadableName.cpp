#include "ReadableName.h"

#include <new>

#include <openssl/err.h>
#include <openssl/x509.h>

#include "OpenSslOwner.h"

namespace CmnCrypto::Cli {

std::string readableName(const X509_NAME* name) {
    if (X509_NAME_entry_count(name) == 0) {
        return "(empty)";
    }
    const OwnedBio bio(BIO_new(BIO_s_mem()));
    if (!bio) {
        throw std::bad_alloc();
    }
    const unsigned long flags = XN_FLAG_ONELINE & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB);
    const bool printed = X509_NAME_print_ex(bio.get(), name, 0, flags) >= 0;
    ERR_clear_error();
    char* text = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &text);
    return printed && length > 0 ? std::string(text, static_cast<size_t>(length)) : "(unreadable)";
}

} // namespace CmnCrypto::Cli
