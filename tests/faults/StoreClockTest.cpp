// Certificates of stores on a clock that stands still.

#include "faults/Faults.h"
#include "testlib/FakeStore.h"
#include "testlib/Testlib.h"

namespace {

TEST(StoreClock, TimeLag) {
    const auto platform = fakePlatform();
    constexpr int64_t present = 1700000000;
    faults::stopClock(present);
    for (const auto& row : readRows("store-lags.txt")) {
        std::list<WinCertStoreCertificate> in;
        std::list<WinCertStoreCertificate> out;
        for (const std::string& dates : pieces(row[1], ',')) {
            const int64_t end = std::stoll(pieces(dates, ':')[1]);
            in.emplace_back(
                platform->context({"", "", "", {fileTime(present + std::stoll(dates)), fileTime(present + end)}}));
        }
        EXPECT_EQ(TimeLagCertificateFilter(std::stoi(row[0])).Filter(in, out), 0);
        EXPECT_TRUE(out.size() == 1 && out.front() == *std::next(in.begin(), std::stoi(row[2]))) << row[0] << row[1];
    }
    std::list<WinCertStoreCertificate> in;
    std::list<WinCertStoreCertificate> out;
    EXPECT_EQ(TimeLagCertificateFilter(0).Filter(in, out), 8771);
    const WinCertStoreCertificate own(platform->context({}));
    EXPECT_TRUE(own.IsValid() == 0 && platform->takeCalls().back() == "verifyTimeValidity 1700000000");
    in.resize(2); // wrappers of nothing
    EXPECT_EQ(TimeLagCertificateFilter(0).Filter(in, out), 8770);
    EXPECT_TRUE(out.empty());
    faults::clear();
}

} // namespace
