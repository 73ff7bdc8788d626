#include "testlib/Testlib.h"

namespace {

using oracle::digest;

struct Deleted : LibraryObject {
    explicit Deleted(int& counter) : count(counter) {}
    ~Deleted() override { ++count; }
    int& count;
};

std::string hexOf(CmnCryptoHandle& handle) {
    char* out = nullptr;
    EXPECT_EQ(CmnCrypto_hasher_generateHash(&handle, &out), 1);
    const Allocated<char> owned(out);
    return out == nullptr ? "" : out;
}

void expectReleased(CmnCryptoHandle& handle) {
    EXPECT_EQ(CmnCrypto_release_Obj(&handle), 0);
    EXPECT_EQ(handle.kind, 0);
    EXPECT_EQ(handle.object, nullptr);
}

TEST(FlatHasher, WholeLifeForEveryAlgorithm) {
    for (const _HASH_ALGO algorithm : everyAlgorithm) {
        CmnCryptoHandle handle{0, nullptr};
        CmnCryptoHandle copy{0, nullptr};
        ASSERT_EQ(CmnCrypto_init_hasher(&handle, algorithm), 1);
        ASSERT_EQ(CmnCrypto_init_hasher(&copy, algorithm), 1);
        EXPECT_EQ(handle.kind, 1);
        EXPECT_EQ(CmnCrypto_hasher_update(&handle, "ab", 2), 1);
        EXPECT_EQ(CmnCrypto_hasher_update(&handle, nullptr, 0), 1);
        EXPECT_EQ(CmnCrypto_context_copy(&handle, &copy), 1);
        EXPECT_EQ(CmnCrypto_hasher_update(&handle, "c", 1), 1);
        EXPECT_EQ(hexOf(handle), toHex(digest(algorithm, "abc")));
        void* out = nullptr;
        unsigned int length = 0;
        EXPECT_EQ(CmnCrypto_hasher_generateBinaryHash(&copy, &out, &length), 1);
        const Allocated<char> owned(static_cast<char*>(out));
        EXPECT_EQ(std::string(owned.get(), length), digest(algorithm, "ab"));
        char* text = nullptr;
        EXPECT_EQ(CmnCrypto_hasher_update(&handle, "c", 1), 114) << "finished";
        EXPECT_EQ(CmnCrypto_hasher_generateHash(&handle, &text), 114) << "finished";
        EXPECT_EQ(CmnCrypto_hasher_generateBinaryHash(&handle, &out, &length), 0) << "finished";
        expectReleased(handle);
        expectReleased(copy);
    }
}

TEST(FlatHasher, EveryOperationOnEveryOtherKind) {
    char* text = nullptr;
    void* out = nullptr;
    unsigned int length = 0;
    CmnCryptoHandle target{0, nullptr};
    const struct {
        std::string tag;
        std::function<int(CmnCryptoHandle*)> run;
        int code;
    } operations[] = {
        {"hasher_update", [](auto* h) { return CmnCrypto_hasher_update(h, "x", 1); }, 20},
        {"hasher_generateHash", [&](auto* h) { return CmnCrypto_hasher_generateHash(h, &text); }, 20},
        {"hasher_generateBinaryHash", [&](auto* h) { return CmnCrypto_hasher_generateBinaryHash(h, &out, &length); },
         0},
        {"copy", [&](auto* h) { return CmnCrypto_context_copy(h, &target); }, 0},
    };
    int deleted = 0;
    for (const int kind : {0, 2, 3, -1}) {
        LibraryObject* object = kind == 2 ? new Deleted(deleted) : nullptr;
        CmnCryptoHandle handle{kind, object};
        const std::string invalid = ": Invalid operation on object type :" + std::to_string(kind);
        captureLog();
        for (const auto& operation : operations) {
            EXPECT_EQ(operation.run(&handle), operation.code) << operation.tag;
            EXPECT_TRUE(logged({"16 - CmnCrypto_" + operation.tag + invalid}));
            EXPECT_EQ(operation.run(nullptr), operation.code) << operation.tag << " of a null handle";
            takeLog();
        }
        expectReleased(handle);
        EXPECT_TRUE(kind == 2 ? logged({}) : logged({"16 - CmnCrypto_release_Obj" + invalid}));
    }
    EXPECT_EQ(deleted, 1) << "through the virtual destructor";
    EXPECT_EQ(CmnCrypto_release_Obj(nullptr), 0);
}

TEST(FlatHasher, BadArgumentsChangeNothing) {
    CmnCryptoHandle handle{0, nullptr};
    CmnCryptoHandle withoutObject{1, nullptr};
    ASSERT_EQ(CmnCrypto_init_hasher(&handle, HASH_ALGO_SHA256), 1);
    char* text = nullptr;
    void* out = nullptr;
    unsigned int length = 0;
    EXPECT_EQ(CmnCrypto_hasher_update(&handle, "abc", -1), 20);
    EXPECT_EQ(CmnCrypto_hasher_update(&handle, nullptr, 1), 20);
    EXPECT_EQ(CmnCrypto_hasher_update(&withoutObject, "abc", 3), 20);
    EXPECT_EQ(CmnCrypto_hasher_generateHash(&handle, nullptr), 20);
    EXPECT_EQ(CmnCrypto_hasher_generateHash(&withoutObject, &text), 20);
    captureLog();
    EXPECT_EQ(CmnCrypto_hasher_generateBinaryHash(&handle, &out, nullptr), 0);
    EXPECT_EQ(CmnCrypto_hasher_generateBinaryHash(&withoutObject, &out, &length), 0);
    const std::string invalid = "16 - CmnCrypto_hasher_generateBinaryHash: Invalid argument";
    EXPECT_TRUE(logged({invalid, invalid}));
    EXPECT_EQ(CmnCrypto_context_copy(&handle, nullptr), 0);
    EXPECT_EQ(CmnCrypto_context_copy(&handle, &withoutObject), 0);
    EXPECT_EQ(CmnCrypto_context_copy(&withoutObject, &handle), 0);
    EXPECT_EQ(hexOf(handle), toHex(digest(HASH_ALGO_SHA256, "")));
    expectReleased(handle);
    expectReleased(withoutObject);
}

TEST(FlatOneCall, EveryAlgorithmAndSize) {
    captureLog();
    for (const _HASH_ALGO algorithm : everyAlgorithm) {
        const std::string hashing = " for hashing data using algo:" + std::to_string(algorithm);
        for (const size_t size : {0U, 1U, 64U, 5000U}) {
            const std::string data = pseudoRandom(size, 8);
            char* text = nullptr;
            EXPECT_EQ(cmncrypto_getHash(size == 0 ? nullptr : data.data(), size, &text, algorithm), 0);
            const Allocated<char> ownedText(text);
            EXPECT_EQ(std::string(text), toHex(digest(algorithm, data)));
            EXPECT_TRUE(logged({"2 - cmncrypto_getHash: Inside cmncrypto_getHash" + hashing}));
            unsigned char* out = nullptr;
            size_t length = 0;
            EXPECT_EQ(cmncrypto_getBinaryHash(size == 0 ? nullptr : bytes(data), size, algorithm, &out, &length), 0);
            const Allocated<unsigned char> ownedBytes(out);
            EXPECT_EQ(std::string(out, out + length), digest(algorithm, data));
            EXPECT_TRUE(logged({"2 - cmncrypto_getBinaryHash: Inside cmncrypto_getBinaryHash" + hashing}));
        }
    }
}

TEST(FlatOneCall, Refused) {
    char set = 0;
    char* text = &set;
    unsigned char* out = nullptr;
    size_t length = 0;
    captureLog();
    EXPECT_EQ(cmncrypto_getHash("x", 1, nullptr, HASH_ALGO_SHA256), 20);
    EXPECT_TRUE(logged({"2 *", "16 - cmncrypto_getHash: Invalid input arguments."}));
    EXPECT_EQ(cmncrypto_getHash(nullptr, 1, &text, HASH_ALGO_SHA256), 114);
    EXPECT_EQ(text, nullptr);
    EXPECT_TRUE(logged({"2 *", "16 * HashGenerator::generateHexHashForStr: Invalid input data.",
                        "16 - cmncrypto_getHash: generateHexHashForStr function failed."}));
    EXPECT_EQ(cmncrypto_getBinaryHash(nullptr, 1, HASH_ALGO_SHA256, &out, &length), 20);
    EXPECT_TRUE(logged({"2 *", "16 - cmncrypto_getBinaryHash: Invalid input arguments."}));
    EXPECT_EQ(cmncrypto_getBinaryHash(nullptr, 0, HASH_ALGO_SHA256, nullptr, &length), 20);
    EXPECT_EQ(cmncrypto_getBinaryHash(nullptr, 0, HASH_ALGO_SHA256, &out, nullptr), 20);
    for (const _HASH_ALGO algorithm : noAlgorithms) {
        text = &set;
        out = reinterpret_cast<unsigned char*>(&set);
        EXPECT_EQ(cmncrypto_getHash("x", 1, &text, algorithm), 114);
        EXPECT_EQ(cmncrypto_getBinaryHash(nullptr, 0, algorithm, &out, &length), 114);
        EXPECT_EQ(text, nullptr);
        EXPECT_EQ(out, nullptr);
        CmnCryptoHandle handle{7, &set};
        EXPECT_EQ(CmnCrypto_init_hasher(&handle, algorithm), 114);
        EXPECT_TRUE(handle.kind == 7 && handle.object == &set) << "unchanged";
    }
    EXPECT_EQ(CmnCrypto_init_hasher(nullptr, HASH_ALGO_SHA256), 20);
}

} // namespace
