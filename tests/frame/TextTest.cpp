#include <cstring>

#include <openssl/asn1.h>
#include <openssl/bn.h>
#include <openssl/evp.h>

#include "testlib/Testlib.h"

namespace {

std::string encode(const std::string& data) {
    return CmnApi::B64Encode(bytes(data), static_cast<int>(data.size()));
}

/** The decoded bytes; nothing for text that is refused. */
std::string decode(const std::string& text) {
    unsigned char* out = nullptr;
    int length = -77;
    CmnApi::B64Decode(text, out, length);
    const Allocated<unsigned char> owned(out);
    return std::string(reinterpret_cast<char*>(out), static_cast<size_t>(std::max(length, 0)));
}

TEST(Base64, PublishedExamplesBothWays) {
    const std::vector<std::pair<std::string, std::string>> rfc4648 = {{"f", "Zg=="},         {"fo", "Zm8="},
                                                                      {"foo", "Zm9v"},       {"foob", "Zm9vYg=="},
                                                                      {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"}};
    for (const auto& [data, text] : rfc4648) {
        EXPECT_EQ(encode(data), text);
        EXPECT_EQ(decode(text), data);
    }
    EXPECT_EQ(CmnApi::B64Encode(nullptr, 0), "");
}

TEST(Base64, EveryLengthAgreesWithOpenSslOnOneLine) {
    for (size_t size : {1U, 2U, 3U, 47U, 48U, 49U, 63U, 64U, 65U, 767U, 768U, 769U, 1024U, 5000U, 65537U}) {
        const std::string data = pseudoRandom(size, 3);
        std::vector<unsigned char> expected(4 * ((size + 2) / 3) + 1);
        EVP_EncodeBlock(expected.data(), bytes(data), static_cast<int>(size));
        const std::string text = encode(data);
        EXPECT_EQ(text, reinterpret_cast<char*>(expected.data())) << size;
        EXPECT_EQ(decode(text), data) << size;
    }
}

TEST(Base64, TextThatIsNotBase64) {
    for (const char* text : {"", "!", "????", "Zg=", "Z", "\nZm9v", "Zm9v\nZm9v", "Zm9vYmFyZm9v\r\nZm9v"}) {
        EXPECT_EQ(decode(text), "") << text;
    }
    EXPECT_EQ(decode("Zm9v\n"), "foo") << "a final line feed is no harm";
}

TEST(Base64, RefusalOfTheEncoderIsAString) {
    captureLog();
    for (const int length : {1, -1}) {
        try {
            CmnApi::B64Encode(nullptr, length);
            ADD_FAILURE() << "nothing thrown";
        } catch (const std::string& text) {
            EXPECT_EQ(text, "Could not write data to be encoded");
        }
        EXPECT_TRUE(logged({"16 - CmnApi::B64Encode: Could not write data to be encoded"}));
    }
}

TEST(Hexadecimal, BothForms) {
    const std::string every = pseudoRandom(1000, 4);
    EXPECT_EQ(CmnApi::binToHex(every), toHex(every));
    EXPECT_EQ(CmnApi::binToHex(std::string("\x0a\xff\0", 3)), "0aff00");
    EXPECT_EQ(CmnApi::binToHex(""), "");

    const std::vector<std::pair<std::string, std::string>> rows = {
        {"\x0a\xff", "0A:FF"}, {"\x07", "07"}, {"", ""}, {std::string(3, '\0'), "00:00:00"}};
    captureLog();
    for (const auto& [data, text] : rows) {
        std::string out = "replaced";
        CmnApi::hexToString(bytes(data), static_cast<unsigned>(data.size()), out);
        EXPECT_EQ(out, text);
        EXPECT_TRUE(logged({"2 - CmnApi::hexToString: hexToString: " + text}));
    }
}

TEST(Ipv6, NeverShortened) {
    const std::vector<std::pair<const char*, const char*>> rows = {
        {"20010db8000000000000000000000001", "2001:DB8:0:0:0:0:0:1"},
        {"00000000000000000000000000000001", "0:0:0:0:0:0:0:1"},
        {"ffffffffffffffffffffffffffffffff", "FFFF:FFFF:FFFF:FFFF:FFFF:FFFF:FFFF:FFFF"},
        {"000100100100100000ff0f0000abc0de", "1:10:100:1000:FF:F00:AB:C0DE"}};
    for (const auto& [address, text] : rows) {
        EXPECT_EQ(CmnApi::IPV6_to_string(bytes(fromHex(address))), text);
    }
}

TEST(Asn1String, BytesAsTheyAre) {
    constexpr const char* tag = "CmnApi::ASN1_STRING_to_string: ";
    const std::unique_ptr<ASN1_STRING, decltype(&ASN1_STRING_free)> value(ASN1_STRING_new(), ASN1_STRING_free);
    captureLog();
    EXPECT_EQ(CmnApi::ASN1_STRING_to_string(nullptr), "");
    EXPECT_TRUE(logged({"16 - " + std::string(tag) + "Failed to get value, ASN1_STRING was NULL"}));
    EXPECT_EQ(CmnApi::ASN1_STRING_to_string(value.get()), "") << "no data";
    EXPECT_TRUE(logged({"16 - " + std::string(tag) + "Failed to get name from X509 name; pName was NULL"}));
    for (const std::string& text : {std::string("na%me \xc3\xa9"), std::string("a\0b", 3)}) {
        ASN1_STRING_set(value.get(), text.data(), static_cast<int>(text.size()));
        EXPECT_EQ(CmnApi::ASN1_STRING_to_string(value.get()), text);
        EXPECT_TRUE(logged({"2 - " + std::string(tag) + "Extracted name:" + text.c_str()}));
    }
}

TEST(HashAlgorithms, OfferedToPeople) {
    std::string text;
    for (const auto& row : CmnApi::getValidHashAlgoList()) {
        text += std::to_string(row.algo) + " " + row.name + " " + std::to_string(row.digestLength) + ". ";
    }
    EXPECT_EQ(text, "1 SHA256 32. 3 SHA1 20. ");
}

TEST(DecimalText, AgreesWithOpenSsl) {
    const auto decimal = [](const std::string& data) {
        return CmnApi::bytesArrayToDecStr(bytes(data), static_cast<unsigned>(data.size()));
    };
    EXPECT_EQ(CmnApi::bytesArrayToDecStr(nullptr, 0), "0");
    EXPECT_EQ(decimal(std::string("\0\0\7", 3)), "7");
    for (const size_t size : {1U, 8U, 9U, 64U, 300U}) {
        const std::string data = pseudoRandom(size, 5);
        BIGNUM* number = BN_bin2bn(bytes(data), static_cast<int>(size), nullptr);
        char* expected = BN_bn2dec(number);
        EXPECT_EQ(decimal(data), expected) << size;
        OPENSSL_free(expected);
        BN_free(number);
    }
}

} // namespace
