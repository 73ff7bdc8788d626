#include <set>

#include "testlib/Testlib.h"

namespace {

constexpr const char* alphabet = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ1234567890";
const std::string number = "RandomNumberGenerator::generateRandomNumber: ";

TEST(RandomBytes, FillExactlyTheBuffer) {
    for (const auto& source : {RandomNumberGenerator::generateRandomBytes, cmncrypto_getRandomBytes, mangleGetRandom}) {
        std::set<std::string> seen;
        for (int round = 0; round < 200; ++round) {
            std::string buffer(33, '\0');
            EXPECT_EQ(source(reinterpret_cast<unsigned char*>(buffer.data()), 32), 0);
            EXPECT_EQ(buffer[32], '\0');
            EXPECT_TRUE(seen.insert(buffer).second) << "256 bits came twice";
        }
        EXPECT_EQ(source(nullptr, 0), 0);
    }
    unsigned char buffer[5];
    captureLog();
    cmncrypto_getRandomBytes(buffer, 5);
    EXPECT_TRUE(logged({"2 * cmncrypto_getRandomBytes: Inside cmncrypto_getRandomBytes for generating random bytes",
                        "2 v5 RandomNumberGenerator::generateRandomBytes: 5 random bytes generated. Returning with "
                        "success code 0"}));
}

TEST(RandomBytes, Refused) {
    unsigned char byte = 42;
    captureLog();
    for (const auto& [buffer, count] : {std::pair<unsigned char*, int>{&byte, -1}, {nullptr, 1}}) {
        const auto draw = [&, to = buffer, n = count](auto function) { return thrown([&] { function(to, n); }); };
        queueHostError();
        EXPECT_EQ(draw(RandomNumberGenerator::generateRandomBytes), "114 Failed to generate random bytes");
        EXPECT_TRUE(
            logged({"16 * RandomNumberGenerator::generateRandomBytes: Failed to generate random bytes with error *"}));
        EXPECT_EQ(draw(cmncrypto_getRandomBytes), "114 Failed to generate random bytes") << "is let through";
        EXPECT_EQ(mangleGetRandom(buffer, count), 114);
        takeLog();
    }
    EXPECT_EQ(byte, 42);
}

TEST(RandomNumber, BothForms) {
    char* out = nullptr;
    for (const int count : {1, 16, 100}) {
        EXPECT_EQ(RandomNumberGenerator::generateRandomNumber(BIGNUM_TO_HEX, &out, count), 0);
        const Allocated<char> hex(out);
        EXPECT_EQ(std::string(out).size(), 2 * static_cast<size_t>(count));
        EXPECT_EQ(std::string(out).find_first_not_of("0123456789abcdef"), std::string::npos) << out;
        EXPECT_EQ(cmncrypto_getRandomNumber(&out, 1, count), 0);
        const Allocated<char> decimal(out);
        const std::string digits = out;
        EXPECT_EQ(digits.find_first_not_of("0123456789"), std::string::npos) << digits;
        EXPECT_LE(digits.size(), 1 + 2.41 * count) << "256 is 10 to the power of 2.408";
    }
    captureLog();
    EXPECT_EQ(cmncrypto_getRandomNumber(&out, 0, 16), 0);
    const Allocated<char> owned(out);
    EXPECT_TRUE(logged({"2 * cmncrypto_getRandomNumber: Inside cmncrypto_getRandomNumber for generating random number",
                        "2 v5 " + number + "16 bytes random number generated. Returning with success code 0"}));
}

TEST(RandomNumber, Refused) {
    char untouched = 0;
    char* out = &untouched;
    for (const int value : {2, -1}) {
        const auto format = static_cast<_BIGNUM_CONVERSION>(value);
        const std::string text = "114 Invalid random number representation";
        captureLog();
        EXPECT_EQ(thrown([&] { RandomNumberGenerator::generateRandomNumber(format, &out, 16); }), text);
        EXPECT_TRUE(logged(
            {"16 v0 " + number + "Unsupported Random number format. Only Hex and Decimal representation supported"}));
        EXPECT_EQ(thrown([&] { cmncrypto_getRandomNumber(&out, value, 16); }), text) << "is let through";
    }
    EXPECT_EQ(thrown([&] { cmncrypto_getRandomNumber(&out, 0, -1); }).substr(0, 4), "114 ");
    EXPECT_EQ(thrown([] { cmncrypto_getRandomNumber(nullptr, 0, 1); }).substr(0, 3), "20 ");
    EXPECT_EQ(out, &untouched);
}

TEST(LegacyRandom, FourBytesAndNoSeed) {
    std::set<uint32_t> seen;
    for (int round = 0; round < 64; ++round) {
        seen.insert(V_random());
        EXPECT_EQ(V_srandom(), 0);
    }
    EXPECT_GT(seen.size(), 60U) << "four equal pairs among 64 numbers of 32 bits: less than once in 10^25 runs";
}

TEST(Password, SizesAndAlphabet) {
    for (const size_t size : {1U, 2U, 9U, 64U, 4096U}) {
        std::string out(size + 1, '#');
        generatePassword(out.data(), static_cast<int>(size));
        EXPECT_EQ(out.find_first_not_of(alphabet), size - 1) << out;
        EXPECT_EQ(out.substr(size - 1), std::string("\0#", 2)) << "a NUL, and nothing beyond the size";
    }
    char untouched[] = "##";
    for (const int size : {0, -1, INT32_MIN}) {
        generatePassword(untouched, size);
        EXPECT_STREQ(untouched, "##") << size;
    }
}

} // namespace
