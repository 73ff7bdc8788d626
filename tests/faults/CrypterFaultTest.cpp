// Crypters when OpenSSL fails in each of its calls.

#include <gmock/gmock.h>

#include "faults/Faults.h"
#include "testlib/Testlib.h"

namespace {

class CrypterFaults : public testing::Test {
protected:
    void SetUp() override { captureLog(); }
    void TearDown() override { faults::clear(); }

    /** A crypter that the fault strikes while it is made: what it throws, and what it logs at level 16. */
    void expectConstruction(int type, const std::string& function, const std::string& calls,
                            const std::string& exception, const std::vector<std::string>& log) {
        SCOPED_TRACE(function + " " + calls);
        CmnCrypto::CmnApi::initialize(0); // kept algorithms are fetched anew after it
        takeLog();
        queueHostError();
        faults::plan(function, calls);
        EXPECT_EQ(thrown([type] { kindOf(type).make(); }), exception);
        EXPECT_TRUE(failuresLogged(log));
        faults::clear();
    }

    const std::string ssl = "SSL Error : " + faults::queued;
    const std::string data = pseudoRandom(5000, 80);
};

TEST_F(CrypterFaults, ConstructionOfTheEvpCrypter) {
    const std::string tag = "16 - EVPCrypter::";
    const std::string text = "Reset: EVP_CipherInit_ex returned FAILURE(#)";
    for (const char* function : {"EVP_CipherInit_ex", "EVP_CIPHER_fetch"}) {
        expectConstruction(5, function, "*", "1223 Throwing exception",
                           {tag + "EVPCrypter: Entering(#)", tag + "encrypt" + text,
                            tag + "encryptReset: SSL Error : *", tag + "decrypt" + text,
                            tag + "decryptReset: SSL Error : *", tag + "EVPCrypter: Throwing exception 1223"});
    }
}

TEST_F(CrypterFaults, EveryStepOfTheEvpCrypter) {
    const Kind kind = kindOf(5);
    for (const bool encrypting : {true, false}) {
        const std::string input = encrypting ? data : kind.expectedStream("", data);
        const std::string tag = std::string("16 - EVPCrypter::") + (encrypting ? "encrypt" : "decrypt");
        const std::string otherInput = encrypting ? kind.expectedStream("", data) : data;
        using Strings = std::pair<std::string, std::string>;
        for (const auto& [function, calls] :
             {Strings{"EVP_CipherUpdate", "x"}, {"EVP_CipherUpdate", "..x"}, {"EVP_CipherFinal_ex", "x"}}) {
            SCOPED_TRACE(testing::Message() << function << " " << calls << " " << encrypting);
            const auto crypter = kind.make();
            const Side side{*crypter, encrypting};
            const Side otherSide{*crypter, !encrypting};
            takeLog();
            queueHostError();
            faults::plan(function, calls);
            EXPECT_EQ(side.put(input, true), 1224);
            EXPECT_TRUE(logged({tag + ": " + function + " returned FAILURE(#)", tag + ": " + ssl}));
            EXPECT_EQ(side.put(input, true), 1223);
            EXPECT_EQ(run(otherSide, otherInput).status, 0) << "the other side goes on";
            EXPECT_EQ(side.reset(), 0);
            EXPECT_EQ(run(side, input).output, otherInput);

            faults::plan("EVP_CipherInit_ex", "*");
            takeLog();
            queueHostError();
            EXPECT_EQ(side.reset(), 1223);
            EXPECT_TRUE(logged({tag + "Reset: EVP_CipherInit_ex returned FAILURE(#)", tag + "Reset: SSL Error : *"}));
            EXPECT_EQ(side.put(input, true), 1223);
            EXPECT_EQ(crypter->reset(), 1223);
            EXPECT_EQ(otherSide.put("", true), 1223) << "reset() resets both, always";
            faults::clear();
            EXPECT_EQ(crypter->reset(), 0);
        }
    }
}

TEST_F(CrypterFaults, CbcPiecesOfAtMost2048) {
    EXPECT_EQ(kindOf(5).make()->encrypt(bytes(data), data.size(), true), 0);
    EXPECT_EQ(faults::lengths("EVP_CipherUpdate"), (std::vector<size_t>{2048, 2048, 904}));
}

TEST_F(CrypterFaults, MangleCrypterWithoutRandomNumbers) {
    const auto crypter = kindOf(2).make();
    takeLog();
    queueHostError();
    faults::plan("RAND_bytes", "*");
    EXPECT_EQ(crypter->encryptReset(), 1223);
    EXPECT_TRUE(failuresLogged({"16 - MangleCrypter::encryptReset: mangleGetRandom returned FAILURE*",
                                "16 - MangleCrypter::encryptReset: " + ssl}));
    EXPECT_EQ(crypter->encrypt(bytes(data), 1, true), 1223);
    EXPECT_EQ(crypter->reset(), 1223);
    faults::clear();
    EXPECT_EQ(crypter->reset(), 0);
}

TEST_F(CrypterFaults, ConstructionOfTheGcmCrypter) {
    const std::string tag = "16 - GCMCrypter::";
    const auto lines = [&](const std::string& text) {
        return std::vector<std::string>{tag + "encryptReset: " + text + "(#)", tag + "encryptReset: " + ssl};
    };
    expectConstruction(6, "EVP_EncryptInit_ex", "x", "", lines("EVP_EncryptInit_ex returned FAILURE"));
    expectConstruction(6, "EVP_CIPHER_CTX_ctrl", "x", "", lines("EVP_CIPHER_CTX_ctrl returned FAILURE"));
    expectConstruction(6, "RAND_bytes", "x", "", lines("mangleGetRandom returned FAILURE"));
    expectConstruction(6, "EVP_EncryptInit_ex", ".x", "", lines("Encryption initialization returned FAILURE"));
    expectConstruction(6, "EVP_DecryptInit_ex", "x", "",
                       {tag + "decryptReset: EVP_DecryptInit_ex returned FAILURE*", tag + "decryptReset: " + ssl});
    expectConstruction(6, "EVP_CIPHER_fetch", "*", "1223 Throwing exception",
                       {tag + "GCMCrypter: Failed to obtain cipher function EVP_aes_256_gcm",
                        tag + "GCMCrypter: Throwing exception 1223"});
}

TEST_F(CrypterFaults, EveryStepOfTheGcmCrypter) {
    const Kind kind = kindOf(6);
    const std::string iv = pseudoRandom(12, 81);
    const std::string stream = kind.expectedStream(iv, data);
    const std::string streamWithAad = kind.expectedStream(iv, data, "aad");
    const auto aad = [](KSCrypt& c) { return Side{c, true}.aad("aad"); };
    const auto encrypt = [this](KSCrypt& c) { return Side{c, true}.put(data, true); };
    const auto decrypt = [&](KSCrypt& c) { return Side{c, false}.put(stream, true); };
    const auto decryptWithAad = [&](KSCrypt& c) {
        EXPECT_EQ((Side{c, false}.aad("aad")), 0);
        return Side{c, false}.put(streamWithAad, true);
    };
    const auto encryptReset = [](KSCrypt& c) { return c.encryptReset(); };
    const auto decryptReset = [](KSCrypt& c) { return c.decryptReset(); };
    const struct {
        const char* function;
        const char* calls;
        std::function<int(KSCrypt&)> run;
        const char* tag;
        const char* text; // null: the error text alone
        int code;
    } rows[] = {
        {"EVP_EncryptUpdate", "x", aad, "add_authenticated_data_encrypt", "EVP_EncryptUpdate", 1224},
        {"EVP_EncryptUpdate", "x", encrypt, "encrypt", "EVP_EncryptUpdate", 1224},
        {"EVP_EncryptFinal_ex", "x", encrypt, "encrypt", "EVP_EncryptFinal_ex", 1224},
        {"EVP_CIPHER_CTX_ctrl", "x", encrypt, "encrypt", "EVP_EncryptFinal_ex", 1224},
        {"EVP_DecryptInit_ex", "x", decrypt, "decrypt", "EVP_DecryptInit_ex", 1224},
        {"EVP_CIPHER_CTX_ctrl", "x", decrypt, "decrypt", "EVP_CIPHER_CTX_ctrl", 1224},
        {"EVP_DecryptUpdate", "x", decrypt, "decrypt", "EVP_DecryptUpdate", 1224},
        {"EVP_DecryptUpdate", "x", decryptWithAad, "decrypt", nullptr, 1224},
        {"EVP_DecryptUpdate", ".x", decryptWithAad, "decrypt", "EVP_DecryptUpdate", 1224},
        {"EVP_DecryptFinal_ex", "x", decrypt, "decrypt", "EVP_DecryptFinal_ex", 1270},
        {"EVP_EncryptInit_ex", "*", encryptReset, "encryptReset", "EVP_EncryptInit_ex", 1223},
        {"RAND_bytes", "*", encryptReset, "encryptReset", "mangleGetRandom", 1223},
        {"EVP_DecryptInit_ex", "*", decryptReset, "decryptReset", "EVP_DecryptInit_ex", 1223},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.function << " " << row.calls << " in " << row.tag);
        const auto crypter = kind.make();
        takeLog();
        queueHostError();
        faults::plan(row.function, row.calls);
        EXPECT_EQ(row.run(*crypter), row.code);
        const std::string tag = std::string("16 - GCMCrypter::") + row.tag + ": ";
        std::vector<std::string> expected = {tag + "SSL Error : Error - (#: error:*"};
        if (row.text != nullptr) {
            expected.insert(expected.begin(), tag + row.text + " returned FAILURE*");
        }
        EXPECT_TRUE(failuresLogged(expected));
        faults::clear();
        const unsigned char* out = nullptr;
        size_t length = 7;
        EXPECT_EQ(crypter->encrypt(nullptr, 0, false), 1223);
        EXPECT_EQ(crypter->decrypt(nullptr, 0, true), 1223);
        EXPECT_EQ(crypter->getDecryptedData(&out, &length), 1223);
        EXPECT_EQ(length, 0U) << "no plaintext";
        const bool encrypting = *row.tag == 'e' || *row.tag == 'a';
        EXPECT_EQ((Side{*crypter, !encrypting}.reset()), 0);
        EXPECT_EQ((Side{*crypter, encrypting}.put("", true)), 1224) << "the other side's reset opens nothing";
        EXPECT_EQ(crypter->reset(), 0);
        EXPECT_EQ(run({*crypter, false}, stream).output, data);
        const std::string encrypted = run({*crypter, true}, data).output;
        EXPECT_EQ(encrypted, kind.expectedStream(encrypted.substr(0, 12), data));
    }
}

TEST_F(CrypterFaults, OutputWithoutMemory) {
    for (const int type : {2, 5, 6}) {
        for (const bool encrypting : {true, false}) {
            SCOPED_TRACE(testing::Message() << "type " << type << " " << encrypting);
            const Kind kind = kindOf(type);
            const auto crypter = kind.make();
            const Side side{*crypter, encrypting};
            const std::string input = encrypting ? data : kind.expectedStream(pseudoRandom(kind.ivInStream, 82), data);
            queueHostError();
            for (const char* allocator : {"malloc", "realloc"}) {
                faults::plan(allocator, "*");
            }
            EXPECT_EQ(side.put(input, true), 1224);
            faults::clear();
            EXPECT_EQ(side.put(input, true), 1223);
            EXPECT_EQ(CmnCrypto::getAndClearSslErrStack(), "No error details available.");
            EXPECT_EQ(side.reset(), 0);
            EXPECT_EQ(run(side, input).status, 0);
        }
    }
    const auto crypter = kindOf(6).make();
    EXPECT_EQ(crypter->decrypt(bytes(data), 30, false), 0);
    EXPECT_EQ(crypter->decrypt(bytes(data), SIZE_MAX, false), 1224) << "a length that no memory has";
}

TEST_F(CrypterFaults, KeysAndPlaintextAreWiped) {
    for (int type = 2; type <= 6; ++type) {
        const Kind kind = kindOf(type);
        std::string stream = kind.expectedStream(pseudoRandom(kind.ivInStream, 83), data);
        for (const bool altered : {false, true}) {
            stream[2000] = static_cast<char>(stream[2000] ^ static_cast<char>(altered));
            auto crypter = kind.make();
            faults::clear();
            run({*crypter, false}, stream);
            crypter.reset();
            const auto wiped = faults::lengths("OPENSSL_cleanse");
            EXPECT_THAT(wiped, testing::Contains(kind.key.size())) << type;
            EXPECT_THAT(wiped, testing::Contains(testing::Ge(data.size()))) << type << " " << altered;
        }
    }
}

} // namespace
