#include "testlib/Pki.h"
#include "testlib/Platform.h"
#include "testlib/Testlib.h"

namespace {

/** A pass-phrase file that goes with the test. */
class PassPhraseFile : public testing::Test {
protected:
    void SetUp() override { captureLog(); }
    void write(const std::string& content) const { m_folder.write("pass", content); }
    const Folder m_folder;
    const std::string path = m_folder.path("pass");
    const std::string tag = "16 - CmnApi::readStringFromFile: ";
};

TEST_F(PassPhraseFile, FirstLine) {
    const std::string longLine(5000, 'x');
    const struct {
        std::string content, expected;
    } rows[] = {{"secret\n", "secret"},
                {"secret", "secret"},
                {"secret\r\n", std::string("secret") + textReturn},
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
    EXPECT_EQ(CmnApi::readStringFromFile(folder.c_str(), out, sizeof out), foldersOpen ? 13 : 12) << "a folder";
    EXPECT_TRUE(logged({foldersOpen ? tag + "Reading PassPhrase from file :[" + folder + "] , failed. Error [1]"
                                    : tag + "Failed to open PassPhrase file :[" + folder + "]"}));
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
