#include <cstdio>
#include <fstream>
#include <new>

#include <openssl/x509.h>

#include "faults/Faults.h"
#include "frame/Assertion.h"
#include "testlib/Platform.h"
#include "testlib/Testlib.h"

namespace {

class FrameFaults : public testing::Test {
protected:
    void SetUp() override { captureLog(); }
    void TearDown() override { faults::clear(); }
};

TEST_F(FrameFaults, FipsProbe) {
    faults::plan("EVP_MD_CTX_new", "x");
    EXPECT_EQ(CmnApi::testFipsCompliance(), 0);
    EXPECT_TRUE(logged({"16 v0 CmnApi::testFipsCompliance: EVP_MD_CTX_create Failed.!"}));
    faults::plan("EVP_DigestInit_ex", "x");
    EXPECT_EQ(CmnApi::testFipsCompliance(), 1);
    EXPECT_TRUE(logged({"2 v5 CmnApi::testFipsCompliance: MD5 algo failed, seems FIPS mod is ON"}));
    EXPECT_EQ(getAndClearSslErrStack(), "No error details available.");
}

TEST_F(FrameFaults, FipsModeOn) {
    faults::plan("EVP_default_properties_is_fips_enabled", "*");
    EXPECT_EQ(CmnApi::getFIPSMode(), 1);
    EXPECT_EQ(thrown([] { HashGenerator generator(HASH_ALGO_MD5); }),
              "8787 MD5 hashing algorithm not supported in FIPS mode");
    EXPECT_TRUE(logged({"16 * HashGenerator::HashGenerator: Hashing algorithm not supported in FIPS mode."}));
    for (const auto algorithm : {HASH_ALGO_SHA256, HASH_ALGO_SHA512, HASH_ALGO_SHA1}) {
        EXPECT_EQ(thrown([algorithm] { HashGenerator generator(algorithm); }), "");
    }
    char* text = nullptr;
    EXPECT_EQ(cmncrypto_getHash("x", 1, &text, HASH_ALGO_MD5), 8787);
    const std::string tag = "2 - CmnApi::initialize: ";
    takeLog();
    CmnApi::initialize(1);
    CmnApi::initialize(0);
    const std::string isOn = tag + "FIPS mode is initially set with value 1";
    EXPECT_TRUE(logged(tag, {isOn, tag + "FIPS mode is already set as per requested value 1", isOn,
                             tag + "FIPS_mode_set() successfully set the FIPS mode as 0"}));
    CmnApi::initialize(2); // runs the switch, which has no provider here
    EXPECT_TRUE(
        failuresLogged({"16 - CmnApi::initialize: FIPS_mode_set() failed to update the fips mode, error:Error - (*"}));
}

TEST_F(FrameFaults, Base64) {
    for (const char* function : {"BIO_new", "BIO_write", "BIO_ctrl"}) {
        SCOPED_TRACE(function);
        faults::plan(function, "*");
        EXPECT_THROW(CmnApi::B64Encode(reinterpret_cast<const unsigned char*>("abc"), 3), std::string);
        EXPECT_TRUE(logged({"16 - CmnApi::B64Encode: Could not write data to be encoded"}));
        faults::clear();
    }
    unsigned char byte = 0;
    unsigned char* out = &byte;
    int length = 0;
    for (const char* function : {"calloc", "BIO_new", "BIO_new_mem_buf"}) {
        faults::plan(function, "x");
        EXPECT_THROW(CmnApi::B64Decode("QUJD", out, length), std::bad_alloc) << function;
        EXPECT_EQ(out, &byte) << "set on success only";
        faults::clear();
    }
    EXPECT_TRUE(logged({"16 - CmnApi::B64Decode: Failed to allocate memory to outbuff."})) << "of calloc alone";
}

TEST_F(FrameFaults, PassPhraseFileThatCannotBeClosed) {
    const std::string path = testing::TempDir() + "cmncrypto-fault-pass";
    std::ofstream(path) << "secret\n";
    char out[10] = {};
    faults::plan("fclose", "x");
    EXPECT_EQ(CmnApi::readStringFromFile(path.c_str(), out, sizeof out), 15);
    EXPECT_TRUE(logged({"16 - CmnApi::readStringFromFile: Failed to close PassPhrase file :[" + path + "]."}));
    std::remove(path.c_str());
}

TEST_F(FrameFaults, FingerprintThatCannotBeMade) {
    X509* certificate = X509_new();
    char out[200];
    faults::plan("X509_digest", "x");
    EXPECT_EQ(cmncrypto_generateHashForDisplay(certificate, HASH_ALGO_SHA1, out, 100), 13);
    X509_free(certificate);
    EXPECT_EQ(getAndClearSslErrStack(), "No error details available.");
}

int print(int level, const char* message, const char* function) {
    return std::fprintf(stderr, "%d %s %s\n", level, function, message);
}

TEST(Assertion, LogsAndEndsTheProcess) {
    const auto failing = [](bool holds) {
        set_log_callback(print, nullptr);
        CMNCRYPTO_ASSERT(holds, "Some::function", "size <= (size_t)LIMIT", "what it means");
    };
    failing(true);
    EXPECT_EXIT(failing(false), hasAborted,
                "16 Some::function ASSERT Failed: condition\\(size <= \\(size_t\\)LIMIT\\) File Name = "
                "\".*FrameFaultTest\\.cpp\" Line Number = \\[.+\\] with message\\[what it means\\]");
}

} // namespace
