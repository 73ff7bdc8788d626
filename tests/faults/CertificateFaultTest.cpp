// Certificates on a clock that stands still and on a disk that is full.

#include <filesystem>

#include "faults/Faults.h"
#include "testlib/Pki.h"
#include "testlib/Platform.h"
#include "testlib/Testlib.h"

namespace {

TEST(CertificateFaults, Clock) {
    constexpr std::time_t start = 1000000000;
    constexpr std::time_t end = 2000000000;
    constexpr std::time_t day = 86400;
    const Owned<X509> raw = makeCertificate("P-256", [](X509* certificate) {
        ASN1_TIME_set(X509_getm_notBefore(certificate), start);
        ASN1_TIME_set(X509_getm_notAfter(certificate), end);
    });
    const X509Certificate certificate(raw.get(), false);
    captureLog();
    for (const std::time_t seconds : {std::time_t{0}, std::time_t{1}, day - 1, day, day + 1, 400 * day}) {
        for (const std::time_t now : {start - seconds, start + seconds, end - seconds, end + seconds}) {
            SCOPED_TRACE(now);
            faults::stopClock(now);
            EXPECT_EQ(certificate.isCertExpired(), now > end);
            EXPECT_EQ(certificate.isCertValidNow(), now >= start);
            std::vector<std::string> lines;
            const std::string subject = ": Local certifciate with subject [CN = host] is ";
            if (now > end) {
                lines.push_back("16 - X509Certificate::isCertExpired" + subject + "expired.");
            }
            if (now < start) {
                lines.push_back("16 - X509Certificate::isCertValidNow" + subject + "not yet valid.");
            }
            EXPECT_TRUE(logged(lines));
        }
    }
    faults::clear();
}

TEST(CertificateFaults, FullDisk) {
    const Folder folder;
    const std::string text = pem(makeCertificate().get());
    const X509Certificate certificate(text, INIT_TYPE_BLOB);
    const X509CertChain chain(text + text, INIT_TYPE_BLOB, false);
    inOwnProcess([&] {
        if (!limitFileSize(text.size() / 2)) {
            return;
        }
        const std::string path = folder.path("new");
        EXPECT_EQ(thrown([&] { certificate.saveToFile(path); }), "14 Failed to write certificate");
        EXPECT_EQ(thrown([&] { chain.saveToFile(path); }), "14 Failed to write certificate");
        EXPECT_FALSE(std::filesystem::exists(path));
    });
    const Owned<std::FILE> full(openFull());
    std::setvbuf(full.get(), nullptr, _IONBF, 0);
    EXPECT_EQ(X509PrivateKey(keyOf("P-256"), false).saveToFile(full.get(), ""), 1);
}

} // namespace
