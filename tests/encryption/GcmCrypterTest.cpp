// AES-256-GCM: published vectors, tampering with every part of a stream, authenticated data, log texts.

#include "testlib/Testlib.h"

namespace {

/** Status 1270 (or another), no plaintext, and the next stream after a reset unharmed. */
void expectRefused(const Kind& kind, const std::string& stream, size_t piece, const std::string& aad,
                   int status = 1270) {
    const auto crypter = kind.make();
    const auto outcome = run({*crypter, false}, stream, piece, aad);
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.output, "");
    const unsigned char* data = nullptr;
    size_t length = 0;
    EXPECT_EQ(crypter->getDecryptedData(&data, &length), 1223);
    EXPECT_EQ(length, 0U);
    EXPECT_EQ(crypter->decryptReset(), 0);
    EXPECT_EQ(run({*crypter, false}, kind.expectedStream(std::string(12, 'i'), "unharmed")).output, "unharmed");
}

TEST(GcmVectors, Published) {
    for (const auto& row : readRows("gcm-256.txt")) {
        Kind kind = kindOf(6);
        kind.key = fromHex(row[0]);
        const std::string stream = fromHex(row[1]) + fromHex(row[2]) + fromHex(row[3]);
        const std::string aad = fromHex(row[4]);
        for (const size_t piece : {0U, 1U, 13U}) {
            SCOPED_TRACE(row[0]);
            if (row[5] == "FAIL") {
                expectRefused(kind, stream, piece, aad);
            } else {
                const auto crypter = kind.make();
                const auto outcome = run({*crypter, false}, stream, piece, aad);
                EXPECT_EQ(outcome.status, 0);
                EXPECT_EQ(toHex(outcome.output), row[5]);
            }
        }
    }
}

/** One size of data, each part of the stream altered in turn. */
void expectTamperingRefused(size_t size) {
    const Kind kind = kindOf(6);
    const std::string aad = pseudoRandom(20, 41);
    const std::string stream = kind.expectedStream(pseudoRandom(12, 42), pseudoRandom(size, 43), aad);
    std::vector<size_t> positions = {0, 5, 11};
    if (size > 0) {
        positions.insert(positions.end(), {12, 12 + size / 2, 12 + size - 1});
    }
    for (size_t i = 0; i < 16; ++i) {
        positions.push_back(12 + size + i);
    }
    for (const size_t piece : {1U, 15U, 16U, 17U, 2048U, 0U}) {
        SCOPED_TRACE(testing::Message() << "size " << size << ", piece " << piece);
        for (const size_t position : positions) {
            SCOPED_TRACE(testing::Message() << "byte " << position << " altered");
            std::string altered = stream;
            altered[position] ^= static_cast<char>(1 << (position % 8));
            expectRefused(kind, altered, piece, aad);
        }
        expectRefused(kind, stream.substr(0, stream.size() - 1), piece, aad, size == 0 ? 1224 : 1270);
        expectRefused(kind, stream + 'x', piece, aad);
        expectRefused(kind, stream.substr(1), piece, aad, size == 0 ? 1224 : 1270);
        for (const std::string& other : {std::string(), aad.substr(1), aad + 'x', 'x' + aad.substr(1)}) {
            SCOPED_TRACE(testing::Message() << "AAD of " << other.size());
            expectRefused(kind, stream, piece, other);
        }
        Kind otherKey = kind;
        otherKey.key[31] ^= 1;
        const auto crypter = otherKey.make();
        EXPECT_EQ(run({*crypter, false}, stream, piece, aad).status, 1270) << "another key";
    }
}

TEST(GcmStreams, TamperedWith) {
    for (const size_t size : {0U, 1U, 15U, 16U, 17U, 31U, 32U, 2047U, 2048U, 2049U, 5000U, 65536U}) {
        expectTamperingRefused(size);
    }
}

TEST(GcmStreams, ShorterThanIvAndTag) {
    const std::string whole = kindOf(6).expectedStream(pseudoRandom(12, 44), "");
    for (size_t size = 0; size < 28; ++size) {
        for (const size_t piece : {0U, 1U}) {
            expectRefused(kindOf(6), whole.substr(0, size), piece, "", 1224);
        }
    }
}

const std::string decryptTag = "GCMCrypter::decrypt: ";

class GcmCrypter : public testing::Test {
protected:
    void SetUp() override { captureLog(); }

    std::string stream(const std::string& data, const std::string& aad = "") const {
        return kind.expectedStream(pseudoRandom(12, 50), data, aad);
    }

    const Kind kind = kindOf(6);
    const std::unique_ptr<KSCrypt> crypter = kind.make();
    const Side encrypting{*crypter, true};
    const Side decrypting{*crypter, false};
};

TEST_F(GcmCrypter, PiecesOfAadCountAsOne) {
    for (const std::vector<std::string>& parts :
         {std::vector<std::string>{"one", "two"}, {"", "onetwo"}, {"o", "", "netwo", ""}}) {
        for (const std::string& part : parts) {
            EXPECT_EQ(encrypting.aad(part), 0);
            EXPECT_EQ(decrypting.aad(part), 0);
        }
        const std::string out = run(encrypting, "data").output;
        EXPECT_EQ(out, kind.expectedStream(out.substr(0, 12), "data", "onetwo"));
        EXPECT_EQ(run(decrypting, stream("data", "onetwo")).output, "data");
        EXPECT_EQ(crypter->reset(), 0);
    }
    EXPECT_EQ(run(decrypting, stream("data")).output, "data") << "a reset forgets the AAD";
}

TEST_F(GcmCrypter, AadTooLate) {
    const std::string text = "Attempted to add AAD when it is not allowed";
    EXPECT_EQ(encrypting.put("x", false), 0);
    EXPECT_EQ(encrypting.aad("late"), 1224);
    EXPECT_TRUE(failuresLogged({"16 - GCMCrypter::add_authenticated_data_encrypt: " + text}));
    EXPECT_EQ(encrypting.put("x", true), 1223);
    EXPECT_EQ(crypter->reset(), 0);
    EXPECT_EQ(decrypting.put("x", false), 0);
    EXPECT_EQ(decrypting.aad("late"), 1224);
    EXPECT_TRUE(failuresLogged({"16 - GCMCrypter::add_authenticated_data_decrypt: " + text}));
}

TEST_F(GcmCrypter, AFailureStopsBothDirectionsUntilAReset) {
    EXPECT_EQ(decrypting.put(std::string(28, 'x'), true), 1270);
    EXPECT_EQ(encrypting.put("x", true), 1223);
    EXPECT_EQ(encrypting.reset(), 0);
    EXPECT_EQ(run(encrypting, "x").status, 0);
    EXPECT_NE(decrypting.put("", true), 0) << "its own failed stream does not go on";
}

TEST_F(GcmCrypter, FailureTexts) {
    queueHostError();
    EXPECT_EQ(decrypting.put(std::string(40, 'x'), true), 1270);
    EXPECT_TRUE(failuresLogged(
        {"16 - " + decryptTag + "EVP_DecryptFinal_ex returned FAILURE*", "16 - " + decryptTag + "SSL Error : *"}));
    EXPECT_EQ(decrypting.reset(), 0);
    for (const size_t size : {0U, 11U, 12U, 27U}) {
        EXPECT_EQ(decrypting.put(std::string(size, 'x'), true), 1224);
        EXPECT_TRUE(failuresLogged({"16 - " + decryptTag + "sufficient tag size was not accumulated"})) << size;
        EXPECT_EQ(decrypting.reset(), 0);
    }
}

TEST_F(GcmCrypter, TracesOfADecryption) {
    const std::string trace = "4 - " + decryptTag;
    const std::string whole = stream("twenty bytes of data", "aad");
    EXPECT_EQ(decrypting.aad("aad"), 0);
    EXPECT_EQ(decrypting.put(whole.substr(0, 5), false), 0);
    EXPECT_TRUE(logged({trace + "*Reading*5*bytes into IV*"}));
    EXPECT_EQ(decrypting.put(whole.substr(5, 10), false), 0);
    EXPECT_TRUE(logged({trace + "*Reading*7*bytes into IV*", trace + "*Initializing key (*) and IV (*)*",
                        trace + "*Total data available =*3*size_to_read_from_input =*0*size_to_read_from_cache =*0*"
                                "cached_tag_size =*0*",
                        trace + "*Adding*3*bytes to tag cache*"}));
    EXPECT_EQ(decrypting.put(whole.substr(15), true), 0);
    EXPECT_TRUE(logged({trace + "*Total data available =*36*size_to_read_from_input =*17*size_to_read_from_cache =*3*"
                                "cached_tag_size =*3*",
                        trace + "*Adding AAD (*3*)*", trace + "*Decrypting*20*bytes*",
                        trace + "*Got*20*bytes of decrypted output*"}));
    EXPECT_EQ(decrypting.reset(), 0);
    EXPECT_EQ(decrypting.put(stream(""), true), 0);
    EXPECT_TRUE(logged(trace + "No AAD", {trace + "No AAD was provided*"}));
}

TEST(CrypterLogs, NeverHoldKeyOrPlaintext) {
    const std::string secret = "QZXJ/KQVW/ZZJX" + pseudoRandom(40, 51);
    for (int type = 1; type <= 6; ++type) {
        const Kind kind = kindOf(type);
        captureLog();
        const auto crypter = kind.make();
        const std::string stream = run({*crypter, true}, secret).output;
        run({*crypter, false}, stream);
        crypter->reset();
        run({*crypter, false}, stream.substr(1));
        for (const std::string& line : takeLog()) {
            for (const std::string& hidden : {kind.key, secret}) {
                for (size_t i = 0; i + 4 <= hidden.size(); ++i) {
                    std::string hex = toHex(hidden.substr(i, 4));
                    EXPECT_EQ(line.find(hidden.substr(i, 4)), std::string::npos) << line;
                    EXPECT_EQ(line.find(hex), std::string::npos) << line;
                    std::transform(hex.begin(), hex.end(), hex.begin(), ::toupper);
                    EXPECT_EQ(line.find(hex), std::string::npos) << line;
                }
            }
        }
    }
}

} // namespace
