#include "libwincertstore/software/NameString.h"

#include <string_view>

#include "cmncrypto/CmnApi.h"

namespace CmnCrypto::WinCertStore {

namespace {

bool needsQuotes(std::string_view value) {
    return !value.empty() && (value.front() == ' ' || value.back() == ' ' ||
                              value.find_first_of("+,\"=<>;#\n") != std::string_view::npos);
}

void appendValue(std::string_view value, std::string& text) {
    if (!needsQuotes(value)) {
        text.append(value);
        return;
    }
    text += '"';
    for (const char character : value) {
        text.append(character == '"' ? 2 : 1, character);
    }
    text += '"';
}

/** A value that is no text stands as the digits of its bytes, so that its certificate can be found all the same. */
void appendEntry(const ASN1_STRING* value, std::string& text) {
    unsigned char* bytes = nullptr;
    const int length = ASN1_STRING_to_UTF8(&bytes, value);
    const OpenSslPtr<unsigned char> owner(bytes);
    if (length >= 0) {
        appendValue({reinterpret_cast<const char*>(bytes), static_cast<size_t>(length)}, text);
        return;
    }
    ERR_clear_error();
    text += '#' + CmnApi::binToHex(CmnApi::ASN1_STRING_to_string(value));
}

} // namespace

std::string nameString(const X509_NAME* name) {
    std::string text;
    for (int index = 0; index < X509_NAME_entry_count(name); ++index) {
        const X509_NAME_ENTRY* const entry = X509_NAME_get_entry(name, index);
        if (index > 0) {
            const X509_NAME_ENTRY* const before = X509_NAME_get_entry(name, index - 1);
            text += X509_NAME_ENTRY_set(before) == X509_NAME_ENTRY_set(entry) ? " + " : ", ";
        }
        appendEntry(X509_NAME_ENTRY_get_data(entry), text);
    }
    return text;
}

} // namespace CmnCrypto::WinCertStore
