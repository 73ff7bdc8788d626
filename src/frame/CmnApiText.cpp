// The conversions of CmnApi between bytes and text.

#include <array>
#include <cassert>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>

#include "cmncrypto/CmnApi.h"
#include "frame/Logging.h"
#include "frame/NumberText.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto {

namespace {

struct Free {
    void operator()(void* memory) const noexcept { std::free(memory); }
};

/** A Base64 filter for text on one line over @p end; null when either is missing. */
OpenSslPtr<BIO> base64Over(OpenSslPtr<BIO> end) {
    OpenSslPtr<BIO> filter(BIO_new(BIO_f_base64()));
    if (!filter || !end) {
        return nullptr;
    }
    BIO_set_flags(filter.get(), BIO_FLAGS_BASE64_NO_NL);
    BIO_push(filter.get(), end.release());
    return filter;
}

} // namespace

std::string CmnApi::B64Encode(const unsigned char* data, int length) {
    ossl::clearErrors();
    const OpenSslPtr<BIO> chain = base64Over(OpenSslPtr<BIO>(BIO_new(BIO_s_mem())));
    // Nothing to write is no failure, though a BIO answers it with 0.
    const bool valid = length == 0 || (length > 0 && data != nullptr);
    const bool written = chain && valid && (length == 0 || BIO_write(chain.get(), data, length) == length) &&
                         BIO_flush(chain.get()) == 1;
    const char* text = nullptr;
    const long size = written ? BIO_get_mem_data(BIO_next(chain.get()), &text) : 0;
    if (!written || (size <= 0 && length > 0)) {
        ossl::clearErrors();
        clogmsg(logFailure, "CmnApi::B64Encode", "Could not write data to be encoded");
        // A string, not a CmnException: callers catch it as one.
        throw std::string("Could not write data to be encoded"); // NOLINT(misc-throw-by-value-catch-by-reference)
    }
    return size > 0 ? std::string(text, static_cast<size_t>(size)) : std::string();
}

void CmnApi::B64Decode(const std::string& text, unsigned char*& out, int& outLength) {
    ossl::clearErrors();
    std::unique_ptr<void, Free> decoded(text.size() > INT_MAX ? nullptr : std::calloc(text.size() + 1, 1));
    if (!decoded) {
        clogmsg(logFailure, "CmnApi::B64Decode", "Failed to allocate memory to outbuff.");
        throw std::bad_alloc();
    }
    const int length = static_cast<int>(text.size());
    const OpenSslPtr<BIO> chain = base64Over(OpenSslPtr<BIO>(BIO_new_mem_buf(text.data(), length)));
    if (!chain) {
        ossl::clearErrors();
        throw std::bad_alloc();
    }
    outLength = BIO_read(chain.get(), decoded.get(), length);
    out = static_cast<unsigned char*>(decoded.release());
    ossl::clearErrors();
}

std::string CmnApi::binToHex(const std::string& bytes) {
    std::string text;
    toHex(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size(), text);
    return text;
}

void CmnApi::hexToString(const unsigned char* data, unsigned int length, std::string& out) {
    assert(data != nullptr);
    constexpr const char* digits = "0123456789ABCDEF";
    out.clear();
    if (data != nullptr && length > 0) {
        out.reserve(size_t{3} * length);
        for (unsigned int i = 0; i < length; ++i) {
            if (i != 0) {
                out += ':';
            }
            out += digits[data[i] >> 4];
            out += digits[data[i] & 0x0f];
        }
    }
    clogmsg(logInfo, "CmnApi::hexToString", "hexToString: %s", out.c_str());
}

std::string CmnApi::IPV6_to_string(const unsigned char* address) {
    if (address == nullptr) {
        return {};
    }
    std::array<char, 40> text{};
    const auto group = [address](size_t i) { return static_cast<unsigned>(address[2 * i] << 8 | address[2 * i + 1]); };
    const int length = std::snprintf(text.data(), text.size(), "%X:%X:%X:%X:%X:%X:%X:%X", group(0), group(1), group(2),
                                     group(3), group(4), group(5), group(6), group(7));
    return std::string(text.data(), static_cast<size_t>(length));
}

std::string CmnApi::ASN1_STRING_to_string(const ASN1_STRING* value) {
    constexpr const char* function = "CmnApi::ASN1_STRING_to_string";
    if (value == nullptr) {
        clogmsg(logFailure, function, "Failed to get value, ASN1_STRING was NULL");
        return {};
    }
    const unsigned char* data = ASN1_STRING_get0_data(value);
    if (data == nullptr) {
        clogmsg(logFailure, function, "Failed to get name from X509 name; pName was NULL");
        return {};
    }
    const int length = ASN1_STRING_length(value);
    std::string result(reinterpret_cast<const char*>(data), length > 0 ? static_cast<size_t>(length) : 0);
    clogmsg(logInfo, function, "Extracted name:%s", result.c_str());
    return result;
}

std::string CmnApi::bytesArrayToDecStr(const unsigned char* data, unsigned int length) {
    std::string text;
    toDecimal(data, length, text);
    return text;
}

} // namespace CmnCrypto
