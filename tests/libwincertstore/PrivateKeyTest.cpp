#include "testlib/FakeStore.h"
#include "testlib/Testlib.h"

namespace {

TEST(PrivateKey, Permissions) {
    for (const auto& row : readRows("key-permissions.txt")) {
        const bool isCng = row[0] == "cng";
        const auto platform = fakePlatform();
        const auto security = std::make_shared<FakeSecurity>();
        FakeCertificate like;
        like.key = StoreKey{9, isCng ? ncryptKeySpec : 1, row[1] == "release"};
        const std::vector<std::string> failure = pieces(row[2] + "=0", '=');
        platform->security = failure[0] == "security" ? nullptr : security;
        WinCertStoreCertificate certificate(failure[0] == "certificate" ? nullptr : platform->context(like));
        const uint32_t error = failure[1] == "memory" ? noMemory : static_cast<uint32_t>(std::stoul(failure[1]));
        failure[0] == "acquireKey" ? platform->fail(failure[0], error) : security->fail(failure[0], error);
        std::unique_ptr<WinCertStorePrivateKey> key;
        std::string answers;
        for (const std::string& step : pieces(row[3], ',')) {
            bool granted = false;
            std::string own;
            const int code = step[0] == '?'   ? key->IsReadGranted(step.substr(1), granted)
                             : step[0] == '+' ? key->GrantRead(step.substr(1))
                             : step[0] == '-' ? key->RevokeRead(step.substr(1))
                             : step[0] == '!' ? key->GetOwnAccount(own)
                             : step[0] == 'a'
                                 ? WinCertStorePrivateKey::Acquire(certificate, key)
                                 : WinCertStoreOpenSSLHelper::RequestPrivKeyPermissionsIfNeeded(certificate);
            answers += (answers.empty() ? "" : ",") + std::to_string(code) + (granted ? "yes" : "") + own;
        }
        EXPECT_EQ(answers, row[4]) << row[2] << row[3];
        EXPECT_EQ(isCng ? security->cng : security->provider, row[5]) << row[2] << row[3];
        EXPECT_EQ(isCng ? security->provider : security->cng, "host");
        if (key) {
            EXPECT_TRUE(key->GetKind() == (isCng ? STORE_KEY_CNG : STORE_KEY_LEGACY) && key->GetHandle() == 9);
            certificate = WinCertStoreCertificate(); // the key keeps what its handle belongs to
            platform->signer->takeCalls();
            key.reset();
            const std::string released = isCng ? "freeCngKey 9" : "releaseProvider 9";
            EXPECT_EQ(platform->signer->takeCalls(), std::vector(row[1] == "release" ? 1U : 0U, released));
        }
    }
}

} // namespace
