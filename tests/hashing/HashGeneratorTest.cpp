#include <thread>

#include <openssl/err.h>

#include "testlib/Testlib.h"

namespace {

using oracle::digest;

constexpr const char* finishedText = "114 EVP_DigestUpdate() failed";

std::string finish(HashGenerator& generator) {
    std::string out = "replaced";
    generator.generateBinaryHash(out);
    return out;
}

TEST(HashGenerator, UnknownAlgorithms) {
    for (const _HASH_ALGO algorithm : noAlgorithms) {
        captureLog();
        EXPECT_EQ(thrown([=] { HashGenerator generator(algorithm); }), "114 Invalid hashing algorithm");
        EXPECT_TRUE(logged({"16 * HashGenerator::HashGenerator: Invalid hashing algorithm."}));
    }
}

TEST(HashGenerator, EveryOperationInEveryState) {
    std::string text;
    std::vector<unsigned char> vector;
    const std::string add = "16 * HashGenerator::addData: EVP_MD_CTX is NULL";
    const std::string generate = "16 * HashGenerator::generateBinaryHash: EVP_MD_CTX is NULL";
    const struct {
        const char* name;
        std::function<void(HashGenerator&)> run;
        std::string logWhenFinished; // empty: harmless
    } operations[] = {
        {"addData", [](auto& g) { g.addData("x", 1); }, add},
        {"addData of nothing", [](auto& g) { g.addData(nullptr, 0); }, add},
        {"binary text", [&](auto& g) { g.generateBinaryHash(text); }, generate},
        {"binary vector", [&](auto& g) { g.generateBinaryHash(vector); }, generate},
        {"hexadecimal", [&](auto& g) { g.generateHexHash(text); }, generate},
        {"freeHashMemory", [](auto& g) { g.freeHashMemory(); }, ""},
    };
    const struct {
        const char* name;
        std::function<void(HashGenerator&)> enter;
        bool finished;
    } states[] = {
        {"fresh", [](auto&) {}, false},
        {"fed", [](auto& g) { g.addData("abc", 3); }, false},
        {"finished", [](auto& g) { finish(g); }, true},
        {"finished as hexadecimal", [&](auto& g) { g.generateHexHash(text); }, true},
        {"freed", [](auto& g) { g.freeHashMemory(); }, true},
        {"failed", [](auto& g) { thrown([&g] { g.addData(nullptr, 1); }); }, true},
    };
    for (const auto& state : states) {
        for (const auto& operation : operations) {
            SCOPED_TRACE(std::string(operation.name) + " when " + state.name);
            HashGenerator generator(HASH_ALGO_SHA256);
            state.enter(generator);
            captureLog();
            const bool refused = state.finished && !operation.logWhenFinished.empty();
            EXPECT_EQ(thrown([&] { operation.run(generator); }), refused ? finishedText : "");
            EXPECT_TRUE(refused ? logged({operation.logWhenFinished}) : logged({}));
        }
    }
}

TEST(HashGenerator, EveryFormOfTheResult) {
    for (const _HASH_ALGO algorithm : everyAlgorithm) {
        const std::string data = pseudoRandom(5000, 7);
        const std::string expected = digest(algorithm, data);
        HashGenerator asText(algorithm);
        HashGenerator asVector(algorithm);
        asText.addData(data.data(), data.size());
        EXPECT_EQ(asText.hashContextCopy(&asVector), 1);
        queueHostError();
        EXPECT_EQ(finish(asText), expected);
        EXPECT_EQ(ERR_peek_error(), 0UL) << "success clears the queue";
        std::string text;
        std::vector<unsigned char> vector = {1, 2, 3};
        asVector.generateBinaryHash(vector);
        EXPECT_EQ(std::string(vector.begin(), vector.end()), expected);

        EXPECT_TRUE(HashGenerator::generateBinaryHashForStr(data.data(), data.size(), algorithm, text));
        EXPECT_EQ(text, expected);
        EXPECT_TRUE(HashGenerator::generateHexHashForStr(data.data(), data.size(), algorithm, text));
        EXPECT_EQ(text, toHex(expected));
        EXPECT_TRUE(HashGenerator::generateBinaryHashForStr(nullptr, 0, algorithm, text));
        EXPECT_EQ(text, digest(algorithm, ""));
    }
}

TEST(HashGenerator, OneCallFormsRefused) {
    std::string out;
    captureLog();
    EXPECT_FALSE(HashGenerator::generateBinaryHashForStr(nullptr, 1, HASH_ALGO_SHA256, out));
    EXPECT_TRUE(logged({"16 * HashGenerator::generateBinaryHashForStr: Invalid input data."}));
    EXPECT_EQ(thrown([&out] { HashGenerator::generateHexHashForStr("x", HASH_ALGO_NONE, out); }),
              "114 Invalid hashing algorithm");
}

TEST(HashGenerator, CopyGoesOnInTwoWays) {
    for (const _HASH_ALGO algorithm : everyAlgorithm) {
        HashGenerator source(algorithm);
        HashGenerator target(algorithm);
        source.addData("prefix", 6);
        target.addData("forgotten", 9);
        EXPECT_EQ(source.hashContextCopy(&target), 1);
        EXPECT_EQ(source.hashContextCopy(&source), 1) << "onto itself";
        source.addData("1", 1);
        target.addData("22", 2);
        EXPECT_EQ(finish(source), digest(algorithm, "prefix1"));
        EXPECT_EQ(finish(target), digest(algorithm, "prefix22"));
    }
}

TEST(HashGenerator, CopyRefused) {
    const std::string tag = "16 v4 HashGenerator::hashContextCopy: EVP_MD_CTX_copy_ex Failed.! ";
    HashGenerator sha256(HASH_ALGO_SHA256);
    HashGenerator otherSha256(HASH_ALGO_SHA256);
    HashGenerator sha1(HASH_ALGO_SHA1);
    HashGenerator finished(HASH_ALGO_SHA256);
    finish(finished);
    sha256.addData("a", 1);
    sha1.addData("b", 1);
    captureLog();
    EXPECT_EQ(sha256.hashContextCopy(&sha1), 0);
    EXPECT_TRUE(logged({tag + "Algorithm type mismatch."}));
    const std::pair<HashGenerator*, HashGenerator*> pairs[] = {
        {&sha256, nullptr}, {&sha256, &finished}, {&finished, &otherSha256}};
    for (const auto& [source, target] : pairs) {
        queueHostError();
        EXPECT_EQ(source->hashContextCopy(target), 0);
        EXPECT_TRUE(logged({tag + "with error *"}));
    }
    EXPECT_EQ(finish(sha1), digest(HASH_ALGO_SHA1, "b")) << "unchanged";
    EXPECT_EQ(finish(sha256), digest(HASH_ALGO_SHA256, "a")) << "unchanged";
    EXPECT_EQ(finish(otherSha256), digest(HASH_ALGO_SHA256, "")) << "unchanged";
}

std::string inPieces(_HASH_ALGO algorithm, const std::string& data, size_t piece) {
    HashGenerator generator(algorithm);
    for (size_t done = 0; done < data.size(); done += piece) {
        generator.addData(data.data() + done, std::min(piece, data.size() - done));
    }
    std::string digest;
    generator.generateBinaryHash(digest);
    return digest;
}

TEST(HashVectors, Published) {
    for (const auto& row : readRows("digests.txt")) {
        const auto algorithm = static_cast<_HASH_ALGO>(std::stoi(row[0]));
        std::string hex;
        EXPECT_TRUE(HashGenerator::generateHexHashForStr(fromHex(row[1]), algorithm, hex));
        EXPECT_EQ(hex, row[2]) << row[0] << " " << row[1];
        EXPECT_EQ(toHex(inPieces(algorithm, fromHex(row[1]), 7)), row[2]) << row[0] << " " << row[1];
    }
}

TEST(HashVectors, SizesAndPiecesAgreeWithOpenSsl) {
    for (const _HASH_ALGO algorithm : everyAlgorithm) {
        for (const size_t size : {0U,   1U,   15U,  16U,  17U,   55U,   56U,   63U,   64U,   65U,
                                  111U, 112U, 127U, 128U, 2047U, 2048U, 2049U, 4096U, 5000U, 65536U}) {
            const std::string data = pseudoRandom(size, 6);
            const std::string expected = oracle::digest(algorithm, data);
            for (const size_t piece : {1U, 15U, 16U, 17U, 2047U, 2048U, 2049U, 65536U}) {
                ASSERT_EQ(inPieces(algorithm, data, piece), expected)
                    << "algorithm " << algorithm << ", size " << size << ", piece " << piece;
            }
        }
    }
}

TEST(HashVectors, ThreadsAreIndependent) {
    std::vector<std::thread> threads;
    for (uint32_t i = 0; i < 8; ++i) {
        threads.emplace_back([i] {
            const _HASH_ALGO algorithm = everyAlgorithm[i % 4];
            for (uint32_t round = 0; round < 50; ++round) {
                const std::string data = pseudoRandom(100 * round, i);
                std::string digest;
                HashGenerator::generateBinaryHashForStr(data.data(), data.size(), algorithm, digest);
                EXPECT_EQ(digest, oracle::digest(algorithm, data));
                EXPECT_EQ(digest, inPieces(algorithm, data, 64));
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
