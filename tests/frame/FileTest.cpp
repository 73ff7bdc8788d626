#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "testlib/Testlib.h"

namespace {

/** A pass-phrase file that goes with the test. */
class PassPhraseFile : public testing::Test {
protected:
    void SetUp() override {
        captureLog();
        ASSERT_NE(mkdtemp(m_folder.data()), nullptr);
        path = m_folder + "/pass";
    }
    void TearDown() override {
        std::remove(path.c_str());
        std::remove(m_folder.c_str());
    }
    void write(const std::string& content) const { std::ofstream(path, std::ios::binary) << content; }

    std::string path;
    const std::string tag = "16 - CmnApi::readStringFromFile: ";

private:
    std::string m_folder = testing::TempDir() + "cmncrypto-XXXXXX";
};

TEST_F(PassPhraseFile, FirstLine) {
    const std::string longLine(5000, 'x');
    const struct {
        std::string content, expected;
    } rows[] = {{"secret\n", "secret"},
                {"secret", "secret"},
                {"secret\r\n", "secret\r"},
                {"one\ntwo\n", "one"},
                {"\nsecond", ""},
                {longLine, longLine.substr(0, 1023)},
                {longLine.substr(0, 1022) + "\n", longLine.substr(0, 1022)},
                {longLine.substr(0, 1023) + "\n", longLine.substr(0, 1023)}};
    for (const auto& row : rows) {
        write(row.content);
        std::string out(2000, '#');
        EXPECT_EQ(CmnApi::readStringFromFile(path.c_str(), out.data(), out.size()), 0);
        EXPECT_EQ(std::string(out.c_str()), row.expected);
        EXPECT_TRUE(logged({}));
    }
}

TEST_F(PassPhraseFile, Refused) {
    char out[] = "##";
    EXPECT_EQ(CmnApi::readStringFromFile(path.c_str(), out, sizeof out), 12) << "missing";
    EXPECT_TRUE(logged({tag + "Failed to open PassPhrase file :[" + path + "]"}));
    write("");
    EXPECT_EQ(CmnApi::readStringFromFile(path.c_str(), out, sizeof out), 13) << "empty";
    EXPECT_TRUE(logged({tag + "Reading PassPhrase from file :[" + path + "] , failed. Error [0]"}));
    const std::string folder = path.substr(0, path.rfind('/'));
    EXPECT_EQ(CmnApi::readStringFromFile(folder.c_str(), out, sizeof out), 13) << "a folder";
    EXPECT_TRUE(logged({tag + "Reading PassPhrase from file :[" + folder + "] , failed. Error [1]"}));
    write("secret");
    EXPECT_EQ(CmnApi::readStringFromFile(path.c_str(), out, 0), 0) << "nothing happens";
    EXPECT_EQ(CmnApi::readStringFromFile(path.c_str(), nullptr, 10), 0);
    EXPECT_STREQ(out, "##");
}

TEST(BoundedCopy, NeverBeyondTheSize) {
    const struct {
        const char* source;
        size_t size, copied;
        const char* expected;
    } rows[] = {{"abcdef", 4, 3, "abc"},   {"abcdef", 1, 0, ""},         {"abcdef", 7, 6, "abcdef"},
                {"abcdef", 6, 5, "abcde"}, {"abcdef", 100, 6, "abcdef"}, {"", 4, 0, ""}};
    for (const auto& row : rows) {
        const std::unique_ptr<char[]> target(new char[row.size]);
        EXPECT_EQ(CmnApi::V_strlcpy(target.get(), exactly(row.source).get(), row.size), row.copied);
        EXPECT_STREQ(target.get(), row.expected);
    }
    char target[] = "##";
    EXPECT_EQ(CmnApi::V_strlcpy(nullptr, "x", 2), 0U);
    EXPECT_EQ(CmnApi::V_strlcpy(target, nullptr, 2), 0U);
    EXPECT_EQ(CmnApi::V_strlcpy(target, "x", 0), 0U);
    EXPECT_STREQ(target, "##");
}

} // namespace
