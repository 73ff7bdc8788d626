#include "libwincertstore/software/NameString.h"

#include <string_view>

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

} // namespace

bool nameString(const X509_NAME* name, std::string& text) {
    text.clear();
    for (int index = 0; index < X509_NAME_entry_count(name); ++index) {
        const X509_NAME_ENTRY* const entry = X509_NAME_get_entry(name, index);
        if (index > 0) {
            const X509_NAME_ENTRY* const before = X509_NAME_get_entry(name, index - 1);
            text += X509_NAME_ENTRY_set(before) == X509_NAME_ENTRY_set(entry) ? " + " : ", ";
        }
        unsigned char* bytes = nullptr;
        const int length = ASN1_STRING_to_UTF8(&bytes, X509_NAME_ENTRY_get_data(entry));
        const OpenSslPtr<unsigned char> value(bytes);
        if (length < 0) {
            return false;
        }
        appendValue({reinterpret_cast<const char*>(bytes), static_cast<size_t>(length)}, text);
    }
    return true;
}

} // namespace CmnCrypto::WinCertStore
