// What depends on being the first call of a process.

#include <thread>

#include "testlib/Testlib.h"

namespace {

/** What a failed or repeated start-up must leave usable. */
void everythingWorks() {
    for (const _HASH_ALGO algorithm : everyAlgorithm) {
        std::string digest;
        HashGenerator::generateBinaryHashForStr("abc", 3, algorithm, digest);
        EXPECT_EQ(digest, oracle::digest(algorithm, "abc"));
    }
    unsigned char random[16] = {};
    EXPECT_EQ(cmncrypto_getRandomBytes(random, sizeof random), 0);
    for (int type = 1; type <= 6; ++type) {
        const auto crypter = kindOf(type).make();
        EXPECT_EQ(run({*crypter, false}, run({*crypter, true}, "abc").output).output, "abc") << type;
    }
}

void asFirstCall(const std::function<void()>& body) {
    inOwnProcess([&body] {
        captureLog();
        body();
        everythingWorks();
        std::thread(everythingWorks).join();
        EXPECT_EQ(cmncrypto_testFipsCompliance(), 0);
        EXPECT_EQ(cmncrypto_get_ssl_fips_mode(), 0);
    });
}

const std::string started = "2 - CmnApi::initOpenssl: m_cryptoOpensslInitialised value = [0]";
const std::string done = "2 - CmnApi::initOpenssl: m_cryptoOpensslInitialised value = [1], initOpenssl done.";
const std::string isOff = "2 - CmnApi::initialize: FIPS mode is initially set with value 0";
const std::string failed = "16 - CmnApi::initialize: FIPS_mode_set() failed to update the fips mode, error:Error - (*";

TEST(FirstCall, FipsWithoutProviderBreaksNothing) {
    for (const int mode : {1, 2}) {
        asFirstCall([mode] {
            cmncrypto_enable_fips_mode(mode);
            EXPECT_TRUE(logged({"2 - cmncrypto_enable_fips_mode: initializing with fipsmode:" + std::to_string(mode),
                                started, done, isOff, failed}));
        });
    }
}

TEST(FirstCall, FipsWithoutProviderAfterUse) {
    asFirstCall([] {
        everythingWorks();
        HashGenerator generator(HASH_ALGO_MD5);
        generator.addData("ab", 2);
        takeLog();
        queueHostError();
        CmnApi::initialize(1);
        EXPECT_TRUE(failuresLogged({failed}));
        EXPECT_EQ(getAndClearSslErrStack(), "No error details available.");
        generator.addData("c", 1);
        std::string digest;
        generator.generateBinaryHash(digest);
        EXPECT_EQ(digest, oracle::digest(HASH_ALGO_MD5, "abc"));
        takeLog();
        EXPECT_EQ(CmnApi::testFipsCompliance(), 0);
        EXPECT_TRUE(logged({"2 v5 CmnApi::testFipsCompliance: MD5 algo successfull seems FIPS mod is OFF"}));
    });
}

TEST(FirstCall, OffIsAlreadySet) {
    asFirstCall([] {
        CmnApi::initialize(0);
        EXPECT_TRUE(logged(
            {started, done, isOff, "2 - CmnApi::initialize: FIPS mode is already set as per requested value 0"}));
        CmnApi::initOpenssl();
        EXPECT_TRUE(logged({"2 - CmnApi::initOpenssl: m_cryptoOpensslInitialised value = [1]"}));
    });
}

TEST(FirstCall, HashingBeforeAnyStart) {
    asFirstCall([] {});
}

} // namespace
