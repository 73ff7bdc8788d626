#include <map>

#include <openssl/err.h>

#include "testlib/FakeStore.h"
#include "testlib/Pki.h"
#include "testlib/Testlib.h"

namespace {

using Wrapper = WinCertStoreCertificate;

template <auto question> std::string answerOf(const Wrapper& certificate) {
    if constexpr (std::is_invocable_v<decltype(question), const Wrapper&>) {
        return std::to_string((certificate.*question)());
    } else {
        std::string text;
        const int code = (certificate.*question)(text);
        return std::to_string(code) + ":" + text;
    }
}
const std::map<std::string, std::string (*)(const Wrapper&)> questions = {
    {"subject", answerOf<&Wrapper::GetSubjectName>},
    {"issuer", answerOf<&Wrapper::GetIssuerName>},
    {"fingerprint", answerOf<&Wrapper::GetFingerprint>},
    {"rsa", answerOf<&Wrapper::IsKeyRSA>},
    {"signature", answerOf<&Wrapper::ValidateAlgo>},
    {"valid", answerOf<&Wrapper::IsValid>},
    {"key", answerOf<&Wrapper::DoesPrivateKeyExist>},
    {"server", answerOf<&Wrapper::IsIntendedForServerPurpose>},
    {"client", answerOf<&Wrapper::IsIntendedForClientPurpose>}};

TEST(StoreCertificate, Answers) {
    captureLog();
    const Rows rows = readRows("store-certificates.txt");
    for (const auto& row : rows) {
        if (row[0][0] == ':') {
            continue;
        }
        const auto platform = fakePlatform();
        FakeCertificate like = {"?"};
        if (const std::vector<std::string> kinds = pieces(row[1], '/'); kinds.size() == 2) {
            like.der = der(makeCertificate(kinds[0], {}, EVP_get_digestbyname(kinds[1].c_str()), "RSA-1024").get());
        }
        const std::string call = row[2].substr(0, row[2].find_first_of("!/"));
        platform->fail(call, row[2].find('!') < row[2].size() ? noMemory : 0x80090016, row[2].back() == '1' ? 1 : 0);
        like.position = std::stoi(row[3]);
        like.key = row[4] == "1" ? like.key : std::nullopt;
        like.keyUsage = row[5].empty() ? std::nullopt : std::optional<unsigned char>(fromHex(row[5])[0]);
        like.usage.unrestricted = row[6].empty();
        like.usage.usages = pieces(row[6] == "none" ? "" : row[6], ',');
        const Wrapper certificate(row[1] == "empty" ? nullptr : platform->context(like));
        EXPECT_EQ(questions.at(row[0])(certificate), row[7]) << row[0] << " " << row[1];
        EXPECT_TRUE(logged("*Certificate", spelled(rows, row[8])));
    }
}

TEST(StoreCertificate, EmptyWrapper) {
    const Wrapper empty;
    ERR_clear_error();
    EXPECT_TRUE(empty.GetX509() == nullptr && ERR_GET_LIB(ERR_peek_last_error()) == 20 &&
                ERR_GET_REASON(ERR_peek_last_error()) == 13);
    EXPECT_TRUE(empty.GetKeyAlgo().empty() && empty.GetContext() == nullptr && empty.GetPlatform() == nullptr);
    EXPECT_TRUE(empty.GetStartDate() == 0 && empty.GetEndDate() == 0 && empty.AddToStore(nullptr, 1) == 0);
    EXPECT_TRUE(empty == Wrapper() && !(empty < Wrapper()));
}

TEST(StoreCertificate, DatesAddingAndIdentity) {
    const auto platform = fakePlatform();
    for (const auto& row : readRows("store-dates.txt")) {
        const Wrapper certificate(platform->context({"", "", "", {std::stoull(row[0]), std::stoull(row[1])}}));
        EXPECT_EQ(certificate.GetStartDate(), std::stoll(row[2])) << row[0];
        EXPECT_EQ(certificate.GetEndDate(), std::stoll(row[3])) << row[1];
    }
    const CertContext one = platform->context({"x"});
    const CertContext two = platform->context({"x"});
    {
        const Wrapper owner(one);
        const Wrapper borrowed(two, CERT_MEMORY_BORROWED);
        Wrapper copy(owner);
        Wrapper bare;
        bare = two;
        bare = *&bare; // itself, and its own context
        bare = bare.GetContext();
        EXPECT_EQ(platform->contextsHeld, 4);
        EXPECT_TRUE(copy == owner && bare == borrowed && !(bare == owner) && !(owner < copy) && !(copy < owner));
        EXPECT_TRUE((owner < bare) == (one < two) && (bare < owner) == (two < one));
        copy = borrowed;
        EXPECT_EQ(platform->contextsHeld, 3);
        bare = nullptr;
        EXPECT_TRUE(platform->contextsHeld == 2 && bare.GetContext() == nullptr);
        std::string store = "MY";
        EXPECT_TRUE(owner.AddToStore(&store, 3) != 0 && owner.AddToStore(nullptr, 3) == 0);
        EXPECT_EQ(platform->takeCalls().back(), "addToStore MY 3");
        platform->fail("addToStore", 5);
        EXPECT_TRUE(owner.AddToStore(&store, 1) == 0 && owner.GetKeyAlgo() == "1.2.3");
    }
    platform->release(two);
}

TEST(StoreCommon, CodesAndMessages) {
    captureLog();
    constexpr int codes[] = {0, 36, 8793, 8793, 8789, 8788, 8789, 8791, 8791, 8790, 8792, 8790, 8789, 8794, 158, 200};
    for (int error = 0; error < 16; ++error) {
        EXPECT_EQ(WinCertStoreCommon::WinCertToQXError(WinCertStoreError(error)), codes[error]);
    }
    EXPECT_TRUE(logged({}));
    for (const int error : {16, INT32_MAX, -1, INT32_MIN}) {
        EXPECT_EQ(WinCertStoreCommon::WinCertToQXError(WinCertStoreError(error)), 8777);
        EXPECT_TRUE(logged({"16 - WinCertToQXError: Unknown error code. Error: " +
                            std::to_string(static_cast<unsigned long>(error))}));
    }
    using Common = WinCertStoreCommon;
    Common::WinCertStoreLogError("f", "%s");
    Common::WinCertStoreLogError("f", ULONG_MAX, "m");
    Common::WinCertStoreLogErrorHex("f", 0xABCDEF01, "m");
    Common::WinCertStoreTraceHex("f", UINT_MAX, "m");
    Common::WinCertStoreTraceInt("f", INT_MIN, "m");
    Common::WinCertStoreTraceStr("f", "%d");
    EXPECT_TRUE(
        logged({"16 - f: %s", "16 - f: m Error: " + std::to_string(ULONG_MAX), "16 - f: m Windows Error: 0xabcdef01",
                "2 v10 f: m: 0xffffffff", "2 v10 f: m: -2147483648", "2 v10 f: %d"}));
}

} // namespace
