#include "libwincertstore/DigestInfo.h"

#include <string_view>

namespace CmnCrypto::WinCertStore {

namespace {

/** There is one encoding for each algorithm: the digest follows a constant (RFC 8017, 9.2, note 1). */
struct Encoding {
    SignedDigest algorithm;
    std::string_view prefix;
    uint32_t digestLength;
};

using namespace std::string_view_literals;

constexpr Encoding encodings[] = {
    {SignedDigest::sha1, "\x30\x21\x30\x09\x06\x05\x2b\x0e\x03\x02\x1a\x05\x00\x04\x14"sv, 20},
    {SignedDigest::sha224, "\x30\x2d\x30\x0d\x06\x09\x60\x86\x48\x01\x65\x03\x04\x02\x04\x05\x00\x04\x1c"sv, 28},
    {SignedDigest::sha256, "\x30\x31\x30\x0d\x06\x09\x60\x86\x48\x01\x65\x03\x04\x02\x01\x05\x00\x04\x20"sv, 32},
    {SignedDigest::sha384, "\x30\x41\x30\x0d\x06\x09\x60\x86\x48\x01\x65\x03\x04\x02\x02\x05\x00\x04\x30"sv, 48},
    {SignedDigest::sha512, "\x30\x51\x30\x0d\x06\x09\x60\x86\x48\x01\x65\x03\x04\x02\x03\x05\x00\x04\x40"sv, 64},
};

} // namespace

DigestInfo takeApart(const unsigned char* data, uint32_t length) noexcept {
    const std::string_view whole(reinterpret_cast<const char*>(data), length);
    for (const Encoding& encoding : encodings) {
        const size_t begin = encoding.prefix.size();
        if (length == begin + encoding.digestLength && whole.substr(0, begin) == encoding.prefix) {
            return {encoding.algorithm, data + begin, encoding.digestLength};
        }
    }
    return {SignedDigest::none, data, length};
}

} // namespace CmnCrypto::WinCertStore
