// The switch with a real provider, sound or not, however OpenSSL is set up.

#include <atomic>
#include <thread>

#include <openssl/rand.h>

#include "fips/World.h"
#include "testlib/TlsPeer.h"

namespace {

/** What the calling thread can do, as in fips-settings.txt; digests are those of "abc", as published. */
std::string state() {
    std::string text =
        std::to_string(cmncrypto_get_ssl_fips_mode()) + "," + std::to_string(cmncrypto_testFipsCompliance());
    for (const auto& row : readRows("digests.txt")) {
        char* digest = nullptr;
        if (row[1] == toHex("abc")) {
            text += "," + std::to_string(cmncrypto_getHash("abc", 3, &digest, _HASH_ALGO(std::stoi(row[0]))));
            EXPECT_TRUE(digest == nullptr || row[2] == Allocated<char>(digest).get());
        }
    }
    unsigned char byte = 0;
    const std::string random = thrown([&] { cmncrypto_getRandomBytes(&byte, 1); });
    return text + "," + (random.empty() ? "0" : random.substr(0, random.find(' ')));
}

/** What @p call answers in a new thread. */
std::string elsewhere(std::string (*call)()) {
    std::string answer;
    std::thread([&] { answer = call(); }).join();
    return answer;
}

TEST_F(Fips, OnAndOffInEverySetting) {
    const std::string failed =
        "16 - CmnApi::initialize: FIPS_mode_set() failed to update the fips mode, error:Error - (*";
    for (const auto& row : blankRows("fips-settings.txt")) {
        for (const bool firstCall : {true, false}) {
            SCOPED_TRACE(testing::PrintToString(row) + (firstCall ? ", first call" : ""));
            World(row[0], row[1]).run([&] {
                EXPECT_EQ(firstCall ? row[2] : state(), row[2]);
                for (const int mode : {1, 0, 2, 0}) { // the second time OpenSSL may say it in another way
                    EXPECT_TRUE(fails([=] { cmncrypto_enable_fips_mode(mode); }, "",
                                      std::vector<std::string>(mode == 0 || row[5].empty() ? 0 : 1,
                                                               failed + (mode == 1 ? row[5] : "") + "*")));
                    EXPECT_EQ(state()[0] == '0' ? 0 : X509PrivateKey::getPrivKeyStatus(pem(keyOf("P-256")), ""), 0);
                    EXPECT_EQ(state() == elsewhere(state) ? state() : "differs", row[mode == 0 ? 4 : 3]);
                }
            });
        }
    }
}

TEST_F(Fips, AskedForWithoutAProvider) {
    World("fips default! only").run([] {
        EXPECT_EQ(state(), "1,1,114,114,114,8787,114");
        CmnApi::initialize(2); // runs the switch, as 1 is what is reported
        EXPECT_EQ(state() + " " + elsewhere(state), "1,1,0,0,0,8787,0 1,1,0,0,0,8787,0");
    });
}

TEST_F(Fips, OtherThreadsHashOnWhileItSwitchesOrFailsTo) {
    for (const bool sound : {true, false}) {
        World("fips", sound ? "" : "checksum").run([sound] {
            std::atomic<int> rounds[3] = {}, wrong{0}, end{0};
            std::vector<std::thread> threads;
            for (std::atomic<int>& count : rounds) {
                threads.emplace_back([&] {
                    for (const std::string expected = oracle::digest(HASH_ALGO_SHA512, "data"); end == 0; ++count) {
                        HashGenerator generator(HASH_ALGO_SHA512);
                        std::this_thread::yield();
                        generator.addData("data", 4);
                        std::string digest;
                        generator.generateBinaryHash(digest);
                        wrong += digest != expected;
                    }
                });
            }
            for (int round = 0; round < 10; ++round) {
                // OpenSSL's properties must not change while somebody looks an algorithm up: let each have its new one.
                for (std::atomic<int>& count : rounds) {
                    for (const int present = count; count < present + 20;) {
                        std::this_thread::yield();
                    }
                }
                CmnApi::initialize(1 - round % 2);
                EXPECT_EQ(CmnApi::getFIPSMode(), sound ? 1 - round % 2 : 0);
            }
            end = 1;
            std::for_each(threads.begin(), threads.end(), [](std::thread& thread) { thread.join(); });
            EXPECT_EQ(wrong, 0);
        });
    }
}

/** The provider of the calling thread's generator, which passwords and numbers come from. */
std::string generator() {
    char password[21], *number = nullptr;
    generatePassword(password, sizeof password);
    EXPECT_EQ(RandomNumberGenerator::generateRandomNumber(BIGNUM_TO_HEX, &number, 32), 0);
    EXPECT_EQ((password + std::string(Allocated<char>(number).get())).size(), 84u);
    return OSSL_PROVIDER_get0_name(EVP_RAND_get0_provider(EVP_RAND_CTX_get0_rand(RAND_get0_public(nullptr))));
}

TEST_F(Fips, ThreadsKeepTheirGenerators) {
    for (const std::string first : {"default", "fips"}) {
        World().run([&] {
            EXPECT_EQ(first == "fips" ? first : generator(), first);
            for (const int mode : {1, 0, 1}) {
                CmnApi::initialize(mode);
                EXPECT_EQ(elsewhere(generator) + " " + generator(), (mode == 1 ? "fips " : "default ") + first);
            }
        });
    }
}

} // namespace
