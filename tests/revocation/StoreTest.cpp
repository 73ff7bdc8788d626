#include <openssl/err.h>

#include "revocation/Situations.h"
#include "testlib/Testlib.h"

namespace {

const std::string verifyTag = " - verifyX509Cert(X509 cert): ";
const std::string chain = "leaf<int+int<root";

template <int ok, int error> int answer(int, X509_STORE_CTX* context) {
    X509StoreCtx(context).setErrorValue(error);
    return ok;
}
unsigned long flagsSeen = 0;
int noteFlags(int ok, X509_STORE_CTX* context) {
    flagsSeen = X509_VERIFY_PARAM_get_flags(X509_STORE_CTX_get0_param(context));
    return ok;
}

int codeBy(X509Store& store) {
    EXPECT_EQ(store.verifyX509Cert(pemFrom(chain)), 0);
    EXPECT_EQ(store.getStatus().verified, store.getStatus().code == 0);
    return store.getStatus().code;
}

/** One that trusts the root and has the list that it needs. */
void makeGood(X509Store& store, const std::string& lists = "int") {
    store.setTrustedCerts(pemFrom("root<root"));
    store.setCrl(pemFrom(lists));
    store.setCrlCheckLevel(CRL_CHECK_LEAF);
}

TEST(Store, LevelsReplaceEachOther) {
    captureLog();
    const Owned<X509_STORE> plain(X509_STORE_new());
    const Owned<X509_STORE_CTX> context(X509_STORE_CTX_new());
    X509_STORE_CTX_init(context.get(), plain.get(), nullptr, nullptr);
    const unsigned long usual = X509_VERIFY_PARAM_get_flags(X509_STORE_CTX_get0_param(context.get()));
    X509Store store;
    store.setVerifyCallback(noteFlags);
    codeBy(store);
    EXPECT_EQ(flagsSeen, usual);
    makeGood(store);
    unsigned long added = 4;
    for (const int level : {0, 2, 2, 1, 3, 0, 2, -1, INT_MAX, 1, 1, 2}) {
        const bool known = level == 1 || level == 2;
        added = level == 1 ? 4 : level == 2 ? 12 : added;
        const std::string line = "16 - setCrlCheckLevel(): Unsupported value provided for crlCheckLevel with error *";
        EXPECT_TRUE(fails([&] { store.setCrlCheckLevel(crl_check_level(level)); },
                          known ? "" : "20 Unsupported value provided for CRL check level.",
                          std::vector<std::string>(known ? 0 : 1, line)));
        EXPECT_EQ(codeBy(store), added == 4 ? 0 : X509_V_ERR_UNABLE_TO_GET_CRL);
        EXPECT_EQ(flagsSeen, usual | added) << level;
    }
    takeLog();
    store.setCrlCheckLevel(CRL_CHECK_LEAF);
    EXPECT_TRUE(logged({"2 - setCrlCheckLevel(): Releasing existing m_verifyParam object"}));
    X509Store().setCrlCheckLevel(CRL_CHECK_LEAF);
    EXPECT_TRUE(logged("2 - set", {}));
}

TEST(Store, StatusChainAndLog) {
    captureLog();
    X509Store store;
    EXPECT_TRUE(!store.getStatus().verified && store.getStatus().code == 0 && store.getStatus().message.empty());
    EXPECT_TRUE(store.getVerifiedX509CertChain() == nullptr && store.getVerifiedCertChain().empty());
    for (const std::string lists : {"int|rev=leaf", "int|key=other", "int"}) {
        makeGood(store, lists);
        const Verdict verdict("root<root+" + lists, chain, 4);
        std::vector<std::string> lines = {"2" + verifyTag + "Found verified certChain creating certChain object"};
        lines.insert(lines.end(), verdict.error == 0 ? 0 : 1, "16" + verifyTag + verdict.message());
        takeLog();
        queueHostError();
        EXPECT_EQ(codeBy(store), verdict.error);
        EXPECT_EQ(ERR_peek_error(), 0u);
        EXPECT_TRUE(logged("*" + verifyTag, lines));
        for (const std::string unreadable : {"", "text", "bad/CERTIFICATE:", "pkcs8:P-256", "crl:P-256"}) {
            codeBy(store);
            const std::string text = unreadable == "text" ? unreadable : pemOf(unreadable);
            const std::string expected = thrown([&] { X509CertChain(text, INIT_TYPE_BLOB); });
            EXPECT_EQ(thrown([&] { store.verifyX509Cert(text); }), expected);
            EXPECT_EQ(std::to_string(store.getStatus().code) + " " + store.getStatus().message, expected);
            EXPECT_FALSE(store.getStatus().verified);
            EXPECT_EQ(store.getVerifiedCertChain(), verdict.built);
            EXPECT_EQ(thrown([&] { store.setTrustedCerts(text); }), expected); // they stay
        }
        EXPECT_EQ(codeBy(store), verdict.error);
        EXPECT_EQ(store.getVerifiedX509CertChain()->getPemString(), verdict.built);
    }
    for (const std::string unreadable : {"", "bad/X509_CRL:", "cert:P-256"}) {
        makeGood(store);
        EXPECT_EQ(codeBy(store), 0);
        takeLog();
        const std::string text = pemOf(unreadable);
        EXPECT_EQ(thrown([&] { store.setCrl(text); }),
                  text.empty() ? "" : thrown([&] { const X509CrlChain lists(text); }));
        const std::string line = "4 - X509Store::setCrl: CRL Stack string is empty to reseting previous allocation";
        EXPECT_TRUE(logged("4 - X509Store", std::vector<std::string>(text.empty() ? 1 : 0, line)));
        EXPECT_EQ(codeBy(store), X509_V_ERR_UNABLE_TO_GET_CRL);
    }
}

TEST(Store, CallbackDecides) {
    X509Store store;
    store.setVerifyCallback(answer<1, 77>);
    store.setVerifyCallback(nullptr);
    EXPECT_EQ(codeBy(store), 0); // though nothing is trusted
    EXPECT_EQ(store.getVerifiedCertChain(), pemFrom(chain));
    EXPECT_EQ(store.getStatus().message, Verdict().message());
    makeGood(store);
    store.setVerifyCallback(answer<0, X509_V_OK>);
    EXPECT_EQ(codeBy(store), X509_V_ERR_UNSPECIFIED);
}

TEST(Store, CopiesAreIndependent) {
    const std::pair<int, std::function<void(X509Store&)>> changes[] = {
        {20, [](X509Store& store) { store.setTrustedCerts(pemFrom("other<other")); }},
        {3, [](X509Store& store) { store.setCrl(""); }},
        {23, [](X509Store& store) { store.setCrl(pemFrom("int|rev=leaf")); }},
        {3, [](X509Store& store) { store.setCrlCheckLevel(CRL_CHECK_CHAIN); }},
        {50, [](X509Store& store) { store.setVerifyCallback(answer<0, 50>); }}};
    for (const auto& [code, change] : changes) {
        for (int way = 0; way < 8; ++way) {
            auto original = std::make_unique<X509Store>();
            makeGood(*original);
            codeBy(*original);
            auto copy = way & 1 ? std::make_unique<X509Store>(*original) : std::make_unique<X509Store>();
            if (!(way & 1)) {
                for (const auto& before : changes) {
                    before.second(*copy);
                }
                codeBy(*copy);
                *copy = *original; // nothing is left of all that
            }
            EXPECT_TRUE(copy->getStatus().verified && copy->getStatus().message == Verdict().message() &&
                        copy->getVerifiedCertChain() == original->getVerifiedCertChain());
            auto& changed = way & 2 ? copy : original;
            auto& other = way & 2 ? original : copy;
            change(*changed);
            *changed = *&*changed;
            EXPECT_EQ(codeBy(*changed), code) << way;
            (way & 4 ? other : changed).reset();
            X509Store& left = way & 4 ? *changed : *other;
            EXPECT_EQ(left.getVerifiedCertChain().rfind(pemFrom(chain), 0), 0u) << way;
            EXPECT_EQ(codeBy(left), way & 4 ? code : 0) << way;
        }
    }
}

TEST(Store, TranslatesStatusNumbers) {
    captureLog();
    constexpr int rows[] = {1, 0, 33, 1, 23, 12, 1, 8, 3, 11, 1, 35, 1}; // from -1 on
    for (const int code : {-1, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, INT_MIN, INT_MAX}) {
        const int expected = code < -1 || code > 11 ? 1 : rows[code + 1];
        EXPECT_EQ(cmncrypto_getSSLVerifyErrorCode(code), expected);
        EXPECT_TRUE(logged({"2 - cmncrypto_getSSLVerifyErrorCode: Translating Quorvex code [" + std::to_string(code) +
                            "] SSL verification code [" + std::to_string(expected) + "]"}));
    }
}

} // namespace
