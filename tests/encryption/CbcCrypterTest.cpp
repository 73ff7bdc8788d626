// AES-CBC: published vectors, tampering as OpenSSL judges it, log texts.

#include "testlib/Testlib.h"

namespace {

TEST(CbcCrypter, PublishedVectors) {
    for (const auto& row : readRows("cbc-256.txt")) {
        Kind kind = kindOf(5);
        kind.key = fromHex(row[0]);
        kind.iv = fromHex(row[1]);
        const auto crypter = kind.make();
        const std::string plaintext = fromHex(row[2]);
        const std::string stream = run({*crypter, true}, plaintext).output;
        EXPECT_EQ(toHex(stream.substr(0, plaintext.size())), row[3]);
        EXPECT_EQ(stream.size(), plaintext.size() + 16) << "a whole block of padding";
        EXPECT_EQ(run({*crypter, false}, stream).output, plaintext);
    }
}

/** One stream, as it is or spoilt: status and output must be what OpenSSL says of it. */
void expectOpenSslsVerdict(const Kind& kind, const std::string& stream, size_t piece) {
    const std::string iv = kind.ivInStream == 0 ? kind.iv : stream.substr(0, kind.ivInStream);
    const auto expected = oracle::cbc(false, kind.key, iv, stream.substr(kind.ivInStream));
    const auto crypter = kind.make();
    const auto outcome = run({*crypter, false}, stream, piece);
    EXPECT_EQ(outcome.status, expected ? 0 : 1224);
    if (expected) {
        EXPECT_TRUE(outcome.output == *expected);
    }
}

TEST(CbcCrypter, SpoiltStreamsFareAsInOpenSsl) {
    for (int type = 2; type <= 5; ++type) {
        const Kind kind = kindOf(type);
        for (const size_t size : {0U, 1U, 15U, 16U, 17U, 2048U, 5000U}) {
            const std::string stream = kind.expectedStream(pseudoRandom(kind.ivInStream, 30), pseudoRandom(size, 31));
            for (const size_t piece : {1U, 17U, 2048U, 0U}) {
                SCOPED_TRACE(testing::Message() << "type " << type << ", size " << size << ", piece " << piece);
                for (size_t back = 1; back <= 33 && back <= stream.size(); ++back) {
                    std::string spoilt = stream;
                    spoilt[stream.size() - back] ^= 1;
                    SCOPED_TRACE(testing::Message() << "byte " << back << " from the end altered");
                    expectOpenSslsVerdict(kind, spoilt, piece);
                }
                expectOpenSslsVerdict(kind, stream.substr(0, stream.size() - 1), piece);
                expectOpenSslsVerdict(kind, stream + 'x', piece);
                expectOpenSslsVerdict(kind, stream.substr(0, kind.ivInStream), piece);
            }
        }
    }
}

TEST(CbcCrypter, FailureTexts) {
    const auto crypter = kindOf(5).make();
    captureLog();
    queueHostError();
    EXPECT_EQ(crypter->decrypt(bytes("no whole block"), 14, true), 1224);
    EXPECT_TRUE(logged({"16 - EVPCrypter::decrypt: EVP_CipherFinal_ex returned FAILURE(#)",
                        "16 - EVPCrypter::decrypt: SSL Error : Error - (#: error:*)"}));
    EXPECT_EQ(crypter->decrypt(nullptr, 0, true), 1223);
    EXPECT_TRUE(failuresLogged({})) << "a side that has failed says nothing more";
}

TEST(MangleCrypter, StreamsShorterThanTheirIv) {
    for (const size_t size : {0U, 1U, 15U}) {
        const auto crypter = kindOf(2).make();
        captureLog();
        queueHostError();
        EXPECT_EQ(run({*crypter, false}, std::string(size, 'x')).status, 1224);
        EXPECT_TRUE(logged({"16 - MangleCrypter::decrypt: *", "16 - MangleCrypter::decrypt: *"}));
    }
}

} // namespace
