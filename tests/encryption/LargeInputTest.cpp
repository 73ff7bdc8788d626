// One call with more than 2 GiB against the same data in pieces.

#include "testlib/Testlib.h"

namespace {

constexpr size_t size = (size_t{1} << 31) + 5;
constexpr size_t piece = size_t{1} << 24;

bool gives(const Side& side, const std::string& expected) {
    const unsigned char* data = nullptr;
    size_t length = 0;
    return side.get(&data, &length) == 0 && length == expected.size() &&
           std::equal(data, data + length, bytes(expected));
}

/** A pattern of 16 MiB, over and over, and five bytes beyond 2 GiB: a cut shows. */
class LargeInput : public testing::Test {
protected:
    void SetUp() override {
        const std::string pattern = pseudoRandom(piece, 60);
        for (data.reserve(size); data.size() < size;) {
            data.append(pattern, 0, std::min(piece, size - data.size()));
        }
    }
    std::string data;
};

TEST_F(LargeInput, Hash) {
    std::string digest;
    HashGenerator::generateHexHashForStr(data, HASH_ALGO_SHA1, digest);
    EXPECT_EQ(digest, toHex(oracle::digest(HASH_ALGO_SHA1, data)));
}

TEST_F(LargeInput, NullCrypter) {
    const auto crypter = kindOf(1).make();
    EXPECT_EQ(crypter->encrypt(bytes(data), size, true), 0);
    EXPECT_TRUE(gives({*crypter, true}, data));
}

TEST_F(LargeInput, GcmBothWays) {
    const auto crypter = kindOf(6).make();
    EXPECT_EQ(crypter->encrypt(bytes(data), size, true), 0);
    const std::string stream = Side{*crypter, true}.output();
    EXPECT_EQ(stream.size(), 12 + size + 16);
    crypter->encryptReset();
    // OpenSSL gets other pieces than it got for encrypting: a byte lost or cut either way fails the tag.
    EXPECT_EQ(crypter->decrypt(bytes(stream), stream.size(), true), 0);
    EXPECT_TRUE(gives({*crypter, false}, data));
}

} // namespace
