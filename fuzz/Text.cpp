// Base64, hexadecimal and decimal numbers, certificate times and pass phrase files.

#include <algorithm>

#include "Harness.h"

/** What the library makes of Base64. */
static std::string decoded(const std::string& text) {
    unsigned char* out = nullptr;
    int length = 0;
    fuzz::CmnApi::B64Decode(text, out, length);
    const std::unique_ptr<unsigned char, decltype(&std::free)> owner(out, std::free);
    fuzz::require(out != nullptr && length <= static_cast<int>(text.size()), "no more bytes than text");
    return fuzz::textOf(out, length > 0 ? length : 0);
}

void fuzz::tryOut(const std::string& input) {
    const auto* const data = bytesOf(input);
    const auto size = static_cast<int>(input.size());
    std::vector<unsigned char> block(2 * input.size() + 5);
    const std::string base64 = textOf(block.data(), EVP_EncodeBlock(block.data(), data, size));
    const unsigned int head = size < 300 ? static_cast<unsigned int>(size) : 300; // decimal takes quadratic time
    const OpenSslPtr<char> pairs(OPENSSL_buf2hexstr(data, head));
    const OpenSslPtr<BIGNUM> number(BN_bin2bn(data, static_cast<int>(head), nullptr));
    const OpenSslPtr<char> decimal(BN_bn2dec(number.get()));
    const std::string line = input.substr(0, std::min<size_t>(input.find_first_of({"\n\0", 2}), 1023));
    std::string found;
    std::vector<char> out(input.size() % 1200 + 1);
    tm time{};
    succeeds([&] {
        require(CmnApi::B64Encode(data, size) == base64, "Base64 as OpenSSL writes it");
        require(decoded(base64) == input && decoded(input).size() <= input.size(), "Base64 there and back");
        CmnApi::hexToString(data, head, found);
        require(found == pairs.get(), "pairs as OpenSSL writes them");
        require(CmnApi::bytesArrayToDecStr(data, head) == decimal.get(), "a number as OpenSSL writes it");
        const std::string text = CmnApi::convertCertTimeToTMString(input);
        // Years of fewer digits take fewer columns when they are printed.
        const bool isTime = CmnApi::convertSSLTime(&time, text.c_str()) == 0 && time.tm_year >= 1000 - 1900;
        require(!isTime || CmnApi::convertCertTimeToTMString(text) == text, "a time in its final form");
        const int code = CmnApi::readStringFromFile(fileWith(input).c_str(), out.data(), out.size());
        require(code == 0 ? line.substr(0, out.size() - 1) == out.data() : input.empty(), "the first line, if any");
    });
}
