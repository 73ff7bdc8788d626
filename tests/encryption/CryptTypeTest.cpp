// The table of crypt types, the factory and what constructors refuse.

#include "testlib/Testlib.h"

namespace {

using namespace CmnCrypto::Encryption;

const std::string wrongType = "1200 Throwing exception";
const std::string refused = "1223 Throwing exception";

KSCrypt::CryptType typeOf(int value) {
    return static_cast<KSCrypt::CryptType>(value);
}

TEST(CryptType, Table) {
    const struct {
        int type;
        const char* name;
        size_t key, iv;
        bool aad;
    } table[] = {{1, "CRYPT_NONE", 0, 0, false},        {2, "AES_256_CBC", 32, 16, false},
                 {3, "AES_192_CBC", 24, 16, false},     {4, "AES_128_CBC", 16, 16, false},
                 {5, "AES_256_CBC_EVP", 32, 16, false}, {6, "AES_256_GCM", 32, 0, true}};
    for (const auto& row : table) {
        EXPECT_EQ(KSCrypt::cryptTypeToString(typeOf(row.type)), row.name);
        EXPECT_EQ(KSCrypt::stringToCryptType(row.name), typeOf(row.type));
        EXPECT_EQ(KSCrypt::cryptTypeToKeyLen(typeOf(row.type)), row.key);
        EXPECT_EQ(KSCrypt::cryptTypeToIVLen(typeOf(row.type)), row.iv);
        EXPECT_EQ(KSCrypt::cryptTypeSupportsAAD(typeOf(row.type)), row.aad);
    }
}

TEST(CryptType, NamesThatAreNone) {
    for (const char* name :
         {"", "aes_256_gcm", "AES_256_GCM ", " AES_256_GCM", "AES_256", "AES_256_CBC_", "6", "CRYPT_INVALID"}) {
        EXPECT_EQ(KSCrypt::stringToCryptType(name), KSCrypt::CRYPT_INVALID) << name;
    }
}

TEST(CryptType, ValuesThatAreNone) {
    for (const int value : {0, 7, -1, INT32_MAX}) {
        const KSCrypt::CryptType type = typeOf(value);
        EXPECT_EQ(KSCrypt::cryptTypeToString(type), "CRYPT_INVALID");
        captureLog();
        EXPECT_EQ(thrown([=] { KSCrypt::cryptTypeToKeyLen(type); }), wrongType);
        EXPECT_EQ(thrown([=] { KSCrypt::cryptTypeToIVLen(type); }), wrongType);
        EXPECT_EQ(thrown([=] { KSCrypt::cryptTypeSupportsAAD(type); }), wrongType);
        EXPECT_EQ(thrown([=] { CryptFactory::createCrypter(type, "", ""); }), refused);
        EXPECT_TRUE(logged({"16 * KSCrypt::cryptTypeToKeyLen: Throwing exception 1200",
                            "16 * KSCrypt::cryptTypeToIVLen: Throwing exception 1200",
                            "16 * KSCrypt::cryptTypeSupportsAAD: Throwing exception 1200",
                            "* CryptFactory::createCrypter: *", // the entry trace
                            "16 * CryptFactory::createCrypter: Throwing exception 1223"}));
        EXPECT_EQ(thrown([=] { MangleCrypter crypter(value == 7 ? 4 : value, std::string(32, 'k')); }), refused);
    }
}

TEST(CryptFactory, MakesTheCrypterOfTheType) {
    for (int type = 1; type <= 6; ++type) {
        Kind kind = kindOf(type);
        kind.iv = type == 5 ? kind.iv : "ignored by all others";
        kind.key = type == 1 ? "ignored too" : kind.key;
        captureLog();
        const auto crypter = kind.make();
        EXPECT_TRUE(logged(type == 5 ? "4" : "", {"* CryptFactory::createCrypter: *"}));
        EXPECT_EQ(dynamic_cast<NullCrypter*>(crypter.get()) != nullptr, type == 1);
        EXPECT_EQ(dynamic_cast<MangleCrypter*>(crypter.get()) != nullptr, type >= 2 && type <= 4);
        EXPECT_EQ(dynamic_cast<EVPCrypter*>(crypter.get()) != nullptr, type == 5);
        EXPECT_EQ(dynamic_cast<GCMCrypter*>(crypter.get()) != nullptr, type == 6);
    }
}

TEST(CryptFactory, WrongKeyLengths) {
    for (const int type : {2, 3, 4, 6}) {
        const size_t right = kindOf(type).key.size();
        for (const size_t length : {size_t{0}, right - 1, right + 1}) {
            Kind wrong = kindOf(type);
            wrong.key.resize(length);
            captureLog();
            EXPECT_EQ(thrown([&wrong] { wrong.make(); }), refused);
            EXPECT_TRUE(failuresLogged({"16 * *Crypter::*Crypter: Key len: expected " + std::to_string(right) +
                                            ", got " + std::to_string(length) + ".*",
                                        "16 * *Crypter::*Crypter: Throwing exception 1223"}));
        }
    }
}

TEST(CryptFactory, EvpCrypterTexts) {
    const std::string tag = "16 * EVPCrypter::EVPCrypter: ";
    captureLog();
    kindOf(5).make();
    EXPECT_TRUE(failuresLogged({tag + "Entering(#)"})) << "at a failure's level, on purpose";
    for (const auto& [key, iv] : {std::pair<size_t, size_t>{31, 16}, {33, 16}, {32, 15}, {32, 17}, {31, 15}, {0, 0}}) {
        Kind wrong = kindOf(5);
        wrong.key.resize(key);
        wrong.iv.resize(iv);
        captureLog();
        EXPECT_EQ(thrown([&wrong] { wrong.make(); }), refused);
        EXPECT_TRUE(failuresLogged({tag + "Entering(#)",
                                    tag + "Key len: expected 32, got " + std::to_string(key) +
                                        ". IV len: expected 16, got " + std::to_string(iv) + ".(#)",
                                    tag + "Throwing exception 1223"}));
    }
}

} // namespace
