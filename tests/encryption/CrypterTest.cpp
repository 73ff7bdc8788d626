// All crypters: every operation in every state and direction, and every size against OpenSSL.

#include <set>
#include <sstream>

#include "testlib/Testlib.h"

namespace {

/**
 * Runs one letter after the other on a side: a AAD, d a piece of a valid stream, f the rest of it with the final
 * flag, x a final call with a stream that fails, n null data with a length, g get, r reset.
 */
class Script {
public:
    Script(const Kind& kind, bool encrypting) : m_crypter(kind.make()), m_side{*m_crypter, encrypting} {
        const std::string data = pseudoRandom(100, 10);
        m_input = encrypting ? data : kind.expectedStream(pseudoRandom(kind.ivInStream, 11), data);
    }

    int step(char letter) {
        const unsigned char* data = nullptr;
        size_t length = 0;
        switch (letter) {
        case 'a':
            return m_side.aad("");
        case 'd':
            m_at += 20;
            return m_side.put(m_input.substr(m_at - 20, 20), false);
        case 'f':
            return m_side.put(m_input.substr(m_at), true);
        case 'x':
            return m_side.put(m_input.substr(0, 29), true);
        case 'n':
            return m_side.put(nullptr, 1, false);
        case 'g':
            return m_side.get(&data, &length);
        case 'r':
            m_at = 0;
            return m_side.reset();
        default:
            return 0;
        }
    }

private:
    std::unique_ptr<KSCrypt> m_crypter;
    Side m_side;
    std::string m_input;
    size_t m_at = 0;
};

/** Paths into states ("-" for none), and the answers there to the operations "adfngr", each on an object of its own. */
struct States {
    const char* paths;
    std::vector<int> answers;
};

const States plainStates[] = {{"- a n d dg dgg dn fr dr fgr rr", {1224, 0, 0, 1224, 0, 0}},
                              {"f df fg fgg fd ff fn frdf", {1224, 1224, 1224, 1224, 0, 0}}};
const States plainFailures[] = {{"x xd xg dx", {1224, 1223, 1223, 1223, 1223, 0}},
                                {"xr dxr", {1224, 0, 0, 1224, 0, 0}},
                                {"xrf", {1224, 1224, 1224, 1224, 0, 0}}};
const States gcmStates[] = {{"- a aa n g fr fdr dar dr", {0, 0, 0, 1224, 0, 0}},
                            {"d ad dg dgg", {1224, 0, 0, 1224, 0, 0}},
                            {"f adf fg fgg farf", {1224, 1224, 1224, 1224, 0, 0}},
                            {"fd ff fa da dad", {1223, 1223, 1223, 1223, 1223, 0}}};
const States gcmFailures[] = {{"x xg dx", {1223, 1223, 1223, 1223, 1223, 0}},
                              {"xr", {0, 0, 0, 1224, 0, 0}},
                              {"xrdf", {1224, 1224, 1224, 1224, 0, 0}}};

template <size_t N> void expectStates(int type, bool encrypting, const States (&states)[N]) {
    const Kind kind = kindOf(type);
    const std::string operations = "adfngr";
    for (const auto& [paths, answers] : states) {
        std::istringstream stream(paths);
        for (std::string path; stream >> path;) {
            for (size_t i = 0; i < operations.size(); ++i) {
                Script script(kind, encrypting);
                std::for_each(path.begin(), path.end(), [&script](char letter) { script.step(letter); });
                EXPECT_EQ(script.step(operations[i]), answers[i])
                    << "type " << type << (encrypting ? " encrypting" : " decrypting") << ", operation '"
                    << operations[i] << "' after '" << path << "'";
            }
        }
    }
}

TEST(CrypterStates, WithoutAuthentication) {
    for (int type = 1; type <= 5; ++type) {
        expectStates(type, true, plainStates);
        expectStates(type, false, plainStates);
        if (type != 1) { // what passes through cannot fail
            expectStates(type, false, plainFailures);
        }
    }
}

TEST(CrypterStates, Gcm) {
    expectStates(6, true, gcmStates);
    expectStates(6, false, gcmStates);
    expectStates(6, false, gcmFailures);
}

TEST(CrypterStates, OutputCollectsUntilItIsHandedOut) {
    const std::string data = pseudoRandom(96, 12);
    for (int type = 1; type <= 6; ++type) {
        for (const bool encrypting : {true, false}) {
            SCOPED_TRACE(testing::Message() << "type " << type << (encrypting ? " encrypting" : " decrypting"));
            const Kind kind = kindOf(type);
            const std::string input = encrypting ? data : kind.expectedStream(pseudoRandom(kind.ivInStream, 13), data);
            const auto crypter = kind.make();
            const Side side{*crypter, encrypting};
            EXPECT_EQ(side.put(input.substr(0, 40), false), 0);
            EXPECT_EQ(side.put(input.substr(40, 24), false), 0);
            const std::string first = side.output();
            EXPECT_EQ(side.output(), "") << "a second get in a row";
            EXPECT_EQ(side.put(input.substr(64), true), 0);
            const std::string stream = first + side.output();
            EXPECT_EQ(side.output(), "");
            EXPECT_EQ(stream, encrypting ? kind.expectedStream(stream.substr(0, kind.ivInStream), data) : data);
            if (type == 6 && !encrypting) {
                EXPECT_EQ(first, "") << "nothing before the tag is checked";
            }
            EXPECT_EQ(side.reset(), 0);
            EXPECT_EQ(side.put(input.substr(0, 64), false), 0);
            EXPECT_EQ(side.reset(), 0) << "drops what was not taken";
            EXPECT_EQ(run(side, input).status, 0);
        }
    }
}

TEST(CrypterStates, GetNeedsBothPointersAndGivesNothingAfterAnError) {
    for (int type = 1; type <= 6; ++type) {
        const auto crypter = kindOf(type).make();
        for (const bool encrypting : {true, false}) {
            const Side side{*crypter, encrypting};
            const unsigned char* data = bytes("set");
            size_t length = 7;
            EXPECT_EQ(side.get(nullptr, &length), 1224) << type;
            EXPECT_EQ(side.get(&data, nullptr), 1224) << type;
            if (type != 1 && !encrypting) {
                EXPECT_NE(side.put("far too short", true), 0);
                EXPECT_EQ(side.get(&data, &length), 1223) << type;
                EXPECT_EQ(data, nullptr);
                EXPECT_EQ(length, 0U);
            }
        }
    }
}

TEST(CrypterStates, DirectionsAreIndependent) {
    const std::string data = pseudoRandom(3000, 14);
    for (int type = 1; type <= 6; ++type) {
        const Kind kind = kindOf(type);
        const std::string stream = kind.expectedStream(pseudoRandom(kind.ivInStream, 15), data);
        const auto crypter = kind.make();
        const Side in{*crypter, true};
        const Side out{*crypter, false};
        std::string encrypted;
        std::string decrypted;
        for (const bool last : {false, true}) {
            EXPECT_EQ(in.put(last ? data.substr(500) : data.substr(0, 500), last), 0);
            EXPECT_EQ(out.put(last ? stream.substr(700) : stream.substr(0, 700), last), 0);
            encrypted += in.output();
            decrypted += out.output();
        }
        EXPECT_EQ(encrypted, kind.expectedStream(encrypted.substr(0, kind.ivInStream), data)) << type;
        EXPECT_EQ(decrypted, data) << type;
    }
}

/** Data size x piece size, compared with OpenSSL called directly in one piece. */
constexpr size_t sizes[] = {0, 1, 15, 16, 17, 31, 32, 2047, 2048, 2049, 4096, 5000, 65536};
constexpr size_t pieces[] = {1, 15, 16, 17, 2048, 0}; // 0: all at once

void expectGrid(int type) {
    const Kind kind = kindOf(type);
    const auto crypter = kind.make();
    std::set<std::string> streamIvs;
    size_t streams = 0;
    for (const size_t size : sizes) {
        for (const size_t piece : pieces) {
            for (const std::string& aad : {std::string(), pseudoRandom(kind.authenticated ? 33 : 0, 20)}) {
                SCOPED_TRACE(testing::Message()
                             << "type " << type << ", size " << size << ", piece " << piece << ", AAD " << aad.size());
                const std::string data = pseudoRandom(size, 21);
                const auto encrypted = run({*crypter, true}, data, piece, aad);
                ASSERT_EQ(encrypted.status, 0);
                const std::string streamIv = encrypted.output.substr(0, kind.ivInStream);
                streamIvs.insert(streamIv);
                ++streams;
                ASSERT_TRUE(encrypted.output == kind.expectedStream(streamIv, data, aad));

                const std::string iv = pseudoRandom(kind.ivInStream, 22);
                const auto decrypted = run({*crypter, false}, kind.expectedStream(iv, data, aad), piece, aad);
                ASSERT_EQ(decrypted.status, 0);
                ASSERT_TRUE(decrypted.output == data);
                ASSERT_EQ(crypter->reset(), 0);
            }
        }
    }
    EXPECT_EQ(streamIvs.size(), kind.ivInStream == 0 ? 1 : streams) << "a fresh IV for every stream";
}

TEST(CrypterGrid, AgreesWithOpenSsl) {
    for (int type = 1; type <= 6; ++type) {
        expectGrid(type);
    }
}

} // namespace
