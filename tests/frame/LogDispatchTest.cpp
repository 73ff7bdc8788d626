// Which callback receives what: a slot cannot be cleared, so each configuration has a process of its own.

#include "testlib/Testlib.h"

namespace {

using Lines = std::vector<std::string>;

Lines received;

int simple(int level, const char* message, const char* function) {
    received.push_back("simple " + std::to_string(level) + " " + function + ": " + message);
    return 7;
}

int extended(int level, int detail, const char* message, const char* function) {
    received.push_back("extended " + std::to_string(level) + "/" + std::to_string(detail) + " " + function + ": " +
                       message);
    return -9;
}

TEST(LogDispatch, NoCallbackLosesTheMessage) {
    inOwnProcess([] {
        EXPECT_EQ(set_log_callback(nullptr, nullptr), 0);
        EXPECT_EQ(cmncrypto_set_log_callback(nullptr, nullptr), 0);
        EXPECT_EQ(clogmsg(16, "f", "%d", 1), 0);
        EXPECT_EQ(clogmsgv(16, 4, "f", "%d", 1), 0);
        CmnApi::cert_util_logger("f", "lost");
    });
}

TEST(LogDispatch, OneCallbackReceivesBoth) {
    inOwnProcess([] {
        EXPECT_EQ(set_log_callback(simple, nullptr), 1);
        EXPECT_EQ(clogmsg(16, "f", "%d and %s", 1, "two"), 7);
        EXPECT_EQ(clogmsgv(8, 4, "g", "dropped detail"), 7);
        EXPECT_EQ(received, (Lines{"simple 16 f: 1 and two", "simple 8 g: dropped detail"}));
    });
    inOwnProcess([] {
        EXPECT_EQ(set_log_callback(nullptr, extended), 1);
        EXPECT_EQ(clogmsg(4, "f", "plain"), -9);
        EXPECT_EQ(clogmsgv(2, 10, "g", "%s", "detailed"), -9);
        EXPECT_EQ(received, (Lines{"extended 4/0 f: plain", "extended 2/10 g: detailed"}));
    });
}

TEST(LogDispatch, EachPrefersItsOwnSlot) {
    inOwnProcess([] {
        EXPECT_EQ(set_log_callback(simple, extended), 1);
        EXPECT_EQ(clogmsg(16, "f", "a"), 7);
        EXPECT_EQ(clogmsgv(16, 4, "f", "b"), -9);
        EXPECT_EQ(set_log_callback(nullptr, nullptr), 0) << "clears nothing";
        EXPECT_EQ(set_log_callback([](int, const char*, const char*) { return 5; }, nullptr), 1) << "replaces one slot";
        EXPECT_EQ(clogmsg(16, "f", "c"), 5);
        EXPECT_EQ(clogmsgv(16, 5, "f", "d"), -9);
        EXPECT_EQ(received, (Lines{"simple 16 f: a", "extended 16/4 f: b", "extended 16/5 f: d"}));
    });
}

TEST(LogDispatch, TheNewCallbackIsToldAtOnce) {
    inOwnProcess([] {
        const std::string text = "cmncrypto_set_log_callback: Logger callback for CmnCrypto is successfully set.";
        EXPECT_EQ(cmncrypto_set_log_callback(nullptr, extended), 1);
        EXPECT_EQ(cmncrypto_set_log_callback(simple, nullptr), 1);
        EXPECT_EQ(received, (Lines{"extended 2/0 " + text, "simple 2 " + text}));
    });
}

TEST(LogDispatch, LongMessagesAreCut) {
    inOwnProcess([] {
        set_log_callback(simple, extended);
        for (const size_t length : {8190U, 8191U, 8192U, 10000U}) {
            received.clear();
            const std::string text(length, 'x');
            clogmsg(2, "f", "%s", text.c_str());
            clogmsgv(2, 0, "f", "%s", text.c_str());
            const std::string cut = "f: " + text.substr(0, 8191);
            EXPECT_EQ(received, (Lines{"simple 2 " + cut, "extended 2/0 " + cut})) << length;
        }
    });
}

} // namespace
