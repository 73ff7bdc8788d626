// Digests and random numbers when OpenSSL or memory fails.

#include "faults/Faults.h"
#include "testlib/Testlib.h"

namespace {

using faults::plan;
using faults::queued;

class HashFaults : public testing::Test {
protected:
    void SetUp() override { captureLog(); }
    void TearDown() override { faults::clear(); }

    /** What an operation throws and logs under a fault; an earlier error of the host must not show. */
    void expectFailure(const std::string& function, const std::string& calls, const std::function<void()>& operation,
                       const std::string& exception, const std::vector<std::string>& log) {
        SCOPED_TRACE(function + " " + calls);
        CmnApi::initialize(0); // what was kept is fetched anew after it
        takeLog();
        queueHostError();
        plan(function, calls);
        EXPECT_EQ(thrown(operation), exception);
        EXPECT_TRUE(logged(log));
        faults::clear();
        EXPECT_EQ(getAndClearSslErrStack(), "No error details available.") << "a reported failure leaves it empty";
    }

    const std::string data = pseudoRandom(5000, 70);
};

TEST_F(HashFaults, EveryStep) {
    const auto construct = [] { HashGenerator generator(HASH_ALGO_SHA256); };
    const auto feed = [this] {
        HashGenerator generator(HASH_ALGO_SHA256);
        queueHostError();
        EXPECT_EQ(thrown([&] { generator.addData(data.data(), data.size()); }), "114 EVP_DigestUpdate() failed");
        generator.addData("x", 1); // the object is finished
    };
    const auto finish = [] {
        HashGenerator generator(HASH_ALGO_SHA256);
        queueHostError();
        std::string out = "replaced";
        EXPECT_EQ(thrown([&] { generator.generateBinaryHash(out); }), "114 EVP_DigestFinal_ex() failed");
        EXPECT_EQ(out, "");
        generator.generateBinaryHash(out); // the object is finished
    };
    const auto oneCall = [this] {
        std::string out;
        HashGenerator::generateBinaryHashForStr(data.data(), data.size(), HASH_ALGO_SHA256, out);
    };
    const std::string constructor = "HashGenerator::HashGenerator: ";
    const std::string created = "16 v0 " + constructor + "EVP_MD_CTX_create Failed.! with error " + queued;
    const std::string started = "16 * " + constructor + "EVP_DigestInit_ex() Failed.! with error " + queued;
    const std::string add = "16 * HashGenerator::addData: ";
    const std::string fed = add + "EVP_DigestUpdate() Failed.! with error " + queued;
    const std::string generate = "16 * HashGenerator::generateBinaryHash: ";
    const std::string finished = generate + "EVP_DigestFinal_ex() Failed.! with error " + queued;
    const std::string null = "EVP_MD_CTX is NULL";
    const std::string update = "114 EVP_DigestUpdate() failed";
    expectFailure("EVP_MD_CTX_new", "x", construct, "114 EVP_MD_CTX_create failed", {created});
    for (const std::function<void()>& operation : {std::function<void()>(construct), std::function<void()>(oneCall)}) {
        expectFailure("EVP_MD_fetch", "x", operation, "114 EVP_DigestInit_ex() failed", {started});
        expectFailure("EVP_DigestInit_ex", "x", operation, "114 EVP_DigestInit_ex() failed", {started});
    }
    expectFailure("EVP_DigestUpdate", "x", feed, update, {fed, add + null});
    expectFailure("EVP_DigestUpdate", "..x", feed, update, {fed, add + null});
    expectFailure("EVP_DigestUpdate", "..x", oneCall, update, {fed});
    expectFailure("EVP_DigestFinal_ex", "x", finish, update, {finished, generate + null});
    expectFailure("EVP_DigestFinal_ex", "x", oneCall, "114 EVP_DigestFinal_ex() failed", {finished});
    faults::clear();
    std::string after;
    HashGenerator::generateBinaryHashForStr(data.data(), data.size(), HASH_ALGO_SHA256, after);
    EXPECT_EQ(after, oracle::digest(HASH_ALGO_SHA256, data)) << "a failure spoils nothing that is kept";
    EXPECT_EQ(faults::lengths("EVP_DigestUpdate"), (std::vector<size_t>{2048, 2048, 904})) << "pieces";
}

TEST_F(HashFaults, Copy) {
    HashGenerator source(HASH_ALGO_SHA1);
    HashGenerator target(HASH_ALGO_SHA1);
    target.addData("kept", 4);
    for (const char* function : {"EVP_MD_CTX_copy_ex", "EVP_MD_CTX_new"}) {
        expectFailure(function, "x", [&] { EXPECT_EQ(source.hashContextCopy(&target), 0); }, "",
                      {"16 v4 HashGenerator::hashContextCopy: EVP_MD_CTX_copy_ex Failed.! with error " + queued});
    }
    std::string digest;
    target.generateBinaryHash(digest);
    EXPECT_EQ(digest, oracle::digest(HASH_ALGO_SHA1, "kept")) << "a failed copy leaves the target as it was";
}

TEST_F(HashFaults, FlatFunctionsWithoutMemory) {
    CmnCryptoHandle handle{0, nullptr};
    char* text = nullptr;
    void* raw = nullptr;
    unsigned int count = 0;
    plan("nothrow_new", "x");
    EXPECT_EQ(CmnCrypto_init_hasher(&handle, HASH_ALGO_SHA1), 1);
    EXPECT_EQ(handle.kind, 1);
    EXPECT_EQ(handle.object, nullptr);

    ASSERT_EQ(CmnCrypto_init_hasher(&handle, HASH_ALGO_SHA1), 1);
    plan("strdup", "x");
    EXPECT_EQ(CmnCrypto_hasher_generateHash(&handle, &text), 36);
    CmnCrypto_release_Obj(&handle);
    ASSERT_EQ(CmnCrypto_init_hasher(&handle, HASH_ALGO_SHA1), 1);
    plan("malloc", "x");
    EXPECT_EQ(CmnCrypto_hasher_generateBinaryHash(&handle, &raw, &count), 0);
    CmnCrypto_release_Obj(&handle);
    EXPECT_TRUE(logged({"16 - CmnCrypto_hasher_generateHash: strdup returned NULL",
                        "16 - CmnCrypto_hasher_generateBinaryHash: strdup returned NULL"}));
}

TEST_F(HashFaults, OneCallFunctions) {
    char* text = nullptr;
    unsigned char* out = nullptr;
    size_t length = 0;
    plan("strdup", "x");
    EXPECT_EQ(cmncrypto_getHash("x", 1, &text, HASH_ALGO_SHA1), 36);
    plan("malloc", "x");
    EXPECT_EQ(cmncrypto_getBinaryHash(bytes("x"), 1, HASH_ALGO_SHA1, &out, &length), 36);
    EXPECT_TRUE(logged("16", {"16 - cmncrypto_getHash: strdup returned NULL", "16 - cmncrypto_getBinaryHash: *"}));
    plan("EVP_DigestFinal_ex", "xx");
    EXPECT_EQ(cmncrypto_getHash("x", 1, &text, HASH_ALGO_SHA1), 114);
    EXPECT_EQ(cmncrypto_getBinaryHash(bytes("x"), 1, HASH_ALGO_SHA1, &out, &length), 114);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(out, nullptr);
}

TEST_F(HashFaults, RandomNumbers) {
    const std::string number = "RandomNumberGenerator::generateRandomNumber: ";
    char* text = nullptr;
    unsigned char buffer[4] = {};
    const auto draw = [&text] { RandomNumberGenerator::generateRandomNumber(BIGNUM_TO_DEC, &text, 16); };
    expectFailure("nothrow_new[]", "x", draw, "114 Failed to allocate memory for randBytes buffer",
                  {"16 * " + number + "Failed to allocate memory for randBytes buffer."});
    expectFailure("RAND_bytes", "x", draw, "114 Failed to generate random number",
                  {"16 * " + number + "Failed to generate random number with error " + queued});
    expectFailure(
        "RAND_bytes", "x", [&] { RandomNumberGenerator::generateRandomBytes(buffer, 4); },
        "114 Failed to generate random bytes",
        {"16 * RandomNumberGenerator::generateRandomBytes: Failed to generate random bytes with error " + queued});
    plan("strdup", "x");
    EXPECT_EQ(thrown(draw), "114 strdup Failed.!");
    EXPECT_TRUE(logged({"16 v0 " + number + "strdup Failed.!"}));
}

TEST_F(HashFaults, LegacyRandomNeverFailsVisibly) {
    unsigned char buffer[4] = {};
    char password[9];
    plan("RAND_bytes", "*");
    EXPECT_EQ(mangleGetRandom(buffer, 4), 114);
    EXPECT_EQ(V_random(), 0U);
    generatePassword(password, sizeof password);
    EXPECT_STREQ(password, "aaaaaaaa");
    faults::clear();
    plan("RAND_status", "x.");
    EXPECT_NE(V_random() | V_random() | V_random(), 0U);
    EXPECT_EQ(faults::lengths("RAND_seed"), std::vector<size_t>{1024}) << "seeded once: when it was not";
}

} // namespace
