// One list in its three forms, what is read from it, and the conversions.

#include <set>

#include "revocation/ListLog.h"
#include "testlib/Pki.h"
#include "testlib/Testlib.h"

namespace {

BinaryData binary(const std::string& text) {
    return BinaryData(text.begin(), text.end());
}

/** The three forms: DER, PEM and the object, "none" without. */
std::string formsOf(const Crl& crl) {
    return std::string(crl.getDerCrl().begin(), crl.getDerCrl().end()) + "/" + crl.getPemCrl() + "/" +
           (crl.getX509Crl() == nullptr ? "none" : der(crl.getX509Crl()));
}

std::string formsOf(X509_CRL* list) {
    return der(list) + "/" + pem(list) + "/" + der(list);
}

Owned<X509_CRL> listOf(const std::string& entries, const std::string& key = "P-256") {
    return makeList(key, [&](X509_CRL* list) { revoke(list, entries); });
}

Owned<X509_CRL> extended(int nid, const std::string& content) {
    return makeList("ED25519", [&](X509_CRL* list) { X509_CRL_add_ext(list, makeExtension(nid, content).get(), -1); });
}

TEST(Crl, FormsInStep) {
    std::set<size_t> rests; // of the last line of Base64
    const auto check = [&](X509_CRL* list) {
        const Crl fromDer(binary(der(list)));
        const Crl fromPem(pem(list));
        const Crl fromList(list);
        for (const Crl* crl : {&fromDer, &fromPem, &fromList}) {
            EXPECT_EQ(formsOf(*crl), formsOf(list));
            EXPECT_TRUE(*crl == fromDer && !(*crl != fromPem) && crl->getX509Crl() != list);
        }
        rests.insert(der(list).size() % 48);
    };
    std::string entries;
    for (int count = 0; count <= 200; ++count) {
        check(listOf(entries).get());
        entries += "+7" + toHex(pseudoRandom(static_cast<size_t>(count % 20), 1)); // of one to twenty bytes
        entries.erase(0, count == 0 ? 1 : 0);
    }
    for (size_t length = 0; length < 48; ++length) {
        check(extended(NID_netscape_comment, std::string(length, 'x')).get());
    }
    EXPECT_EQ(rests.size(), 48u);
    check(extended(NID_netscape_comment, std::string(1000000, 'x')).get());
}

TEST(Crl, GivenFormIsKept) {
    const auto list = listOf("1");
    const std::string text = "text\n" + pemOf("cert:P-256") + pem(list.get()) + pem(listOf("2").get());
    Crl crl(text);
    EXPECT_EQ(formsOf(crl), der(list.get()) + "/" + text + "/" + der(list.get())); // not written anew
    EXPECT_TRUE(crl != Crl(list.get()));
    EXPECT_EQ(crl.setDerCrl(binary(der(list.get()) + "x")), 0);
    EXPECT_EQ(formsOf(crl), der(list.get()) + "x/" + pem(list.get()) + "/" + der(list.get()));
    EXPECT_TRUE(crl == Crl(list.get()));
    EXPECT_EQ(crl.setDerCrl(crl.getDerCrl()) + crl.setPemCrl(crl.getPemCrl()), 0); // its own forms
    EXPECT_EQ(crl.setX509Crl(crl.getX509Crl()), 0);
    EXPECT_EQ(formsOf(crl), formsOf(list.get()));
}

/** Sets a form that must be refused, also by the constructor, and @p remains. */
template <class Form, class Bad>
void refused(X509_CRL* list, int code, int (Crl::*set)(Form), const Bad& bad, const std::string& remains,
             std::vector<std::string> lines) {
    Crl crl(list);
    EXPECT_TRUE(fails([&] { EXPECT_EQ((crl.*set)(bad), code); }, "", lines));
    EXPECT_EQ(formsOf(crl), remains);
    if (code == 9300) {
        lines.emplace_back("16 - Crl::Crl: Failed to read X509_CRL");
    }
    const auto construct = [&] {
        try {
            const Crl made(bad);
        } catch (const CrlConversionException& exception) {
            CrlConversionException assigned(0);
            assigned = CrlConversionException(exception);
            throw std::to_string(assigned.getErrorCode()) + " " + assigned.what();
        }
    };
    const std::string text = std::to_string(code);
    EXPECT_TRUE(fails(construct, "text " + text + " CRL conversion failed. error = " + text, lines));
    EXPECT_EQ(crl.setX509Crl(list), 0); // it can be used again
    EXPECT_EQ(formsOf(crl), formsOf(list));
}

TEST(Crl, RefusedForms) {
    captureLog();
    const auto list = listOf("1");
    const PassPhraseOnInput input;
    const std::string inDer = der(list.get());
    const std::string inPem = pem(list.get());
    for (const std::string& bad : {std::string(), inDer.substr(1), inDer.substr(0, inDer.size() - 1), inPem}) {
        refused(list.get(), 9301, &Crl::setDerCrl, binary(bad), bad + "/" + inPem + "/none",
                {"16 - CrlConverter::derToX509Crl: Failed to convert DER format to X509_CRL.",
                 "16 - Crl::setDerCrl: Failed to convert DER encoded CRL to X509_CRL."});
    }
    for (const std::string& bad : {std::string(), std::string("%s%n"), pemOf("cert:P-256"), pemOf("bad/X509_CRL:"),
                                   pemOf("locked/X509_CRL:P-256"), inPem.substr(0, 200), '\0' + inPem}) {
        refused(list.get(), 9301, &Crl::setPemCrl, bad, inDer + "/" + bad + "/none",
                {"16 - CrlConverter::pemToX509Crl: Could not convert PEM encoding to X509_CRL.",
                 std::string("16 - Crl::setPemCrl: Failed to convert PEM encoded CRL to X509_CRL. pemCrl = ") +
                     bad.c_str()});
    }
    const Owned<X509_CRL> hollow(X509_CRL_new());
    for (const X509_CRL* bad : {static_cast<const X509_CRL*>(nullptr), static_cast<const X509_CRL*>(hollow.get())}) {
        refused(list.get(), 9300, &Crl::setX509Crl, bad, inDer + "/" + inPem + "/none",
                {"16 - CrlConverter::x509CrlToDer: Failed to convert X509_CRL to DER.",
                 "16 - Crl::setX509Crl: Failed to convert X509 CRL to DER encoded CRL."});
    }
    std::string text = "before";
    BinaryData data = binary(text);
    for (X509_CRL* bad : {static_cast<X509_CRL*>(nullptr), hollow.get()}) {
        takeLog();
        EXPECT_EQ(CrlConverter::x509CrlToPem(bad, text), 9300);
        EXPECT_TRUE(logged("16", {"16 - CrlConverter::x509CrlToPem: Unable to convert X509_CRL to PEM."}));
        EXPECT_EQ(CrlConverter::x509CrlToDer(bad, data), 9300);
    }
    for (const bool given : {false, true}) {
        X509_CRL* out = reinterpret_cast<X509_CRL*>(1); // neither read nor released
        EXPECT_EQ(given ? CrlConverter::derToX509Crl(data, &out) : CrlConverter::pemToX509Crl(text, &out), 9301);
        EXPECT_EQ(out, nullptr);
    }
    EXPECT_EQ(text + std::string(data.begin(), data.end()), "beforebefore");
    EXPECT_EQ(CrlConverter::derToX509Crl(binary(inDer), nullptr), 9301);
    EXPECT_EQ(CrlConverter::pemToX509Crl(inPem, nullptr), 9301);
    EXPECT_FALSE(input.asked());
}

TEST(Crl, CopiesAndMoves) {
    const auto first = listOf("1");
    const auto second = listOf("2+3");
    const std::string forms = formsOf(second.get());
    Crl one(first.get());
    Crl two(second.get());
    one.swap(two);
    EXPECT_EQ(formsOf(one) + formsOf(two), forms + formsOf(first.get()));
    Crl& same = one;
    one.swap(same);
    one = same;
    one = std::move(same);
    EXPECT_EQ(formsOf(one), forms);
    const X509_CRL* const kept = one.getX509Crl();
    Crl moved(std::move(one));
    EXPECT_EQ(moved.getX509Crl(), kept);
    EXPECT_EQ(formsOf(one), "//none"); // NOLINT(bugprone-use-after-move)
    one = moved;
    EXPECT_EQ(formsOf(Crl(one)), forms);
    EXPECT_TRUE(one == moved && one.getX509Crl() != kept && Crl(one).getX509Crl() != one.getX509Crl());
    two = std::move(moved);
    EXPECT_EQ(two.getX509Crl(), kept);
    one = Crl();
    EXPECT_TRUE(one == Crl() && one != two && Crl(one).getX509Crl() == nullptr);
    one.setDerCrl(binary("x"));
    EXPECT_EQ(formsOf(Crl(one)), "x//none");
}

TEST(Crl, EmptyObject) {
    captureLog();
    const Crl empty;
    const Crl full(listOf("1").get());
    takeLog();
    EXPECT_TRUE(empty.isExpired() && empty.getVersion() == 0 && empty.getLastUpdate() == nullptr);
    EXPECT_TRUE(!empty.isNewerThan(empty) && !empty.isNewerThan(full) && full.isNewerThan(empty));
    EXPECT_EQ(X509_NAME_entry_count(empty.getIssuer().getX509Name()), 0);
    EXPECT_TRUE(loggedAs("empty-object"));
    EXPECT_TRUE(empty.getCrlNumber() == -1 && !empty.isDeltaCRL() && formsOf(empty) == "//none");
}

TEST(Crl, Fields) {
    captureLog();
    for (const auto& [content, number] : std::vector<std::pair<std::string, long>>{
             {fromHex("020105"), 0}, {"1234", 1234}, {" -7x", -7}, {"", 0}, {std::string("12\0003", 4), 12}}) {
        const Crl crl(extended(NID_crl_number, content).get());
        takeLog();
        EXPECT_EQ(crl.getCrlNumber(), number);
        EXPECT_TRUE(logged({std::string("2 - Crl::getCrlNumber: CRL number(str) = ") + content.c_str()}));
    }
    const Crl delta(extended(NID_delta_crl, fromHex("020101")).get());
    const std::string noNumber = "CRL Number extension is not found in x509 CRL";
    fails("Crl::getCrlNumber", {{[&] { EXPECT_EQ(delta.getCrlNumber(), -1); }, "", {noNumber}}});
    EXPECT_TRUE(delta.isDeltaCRL());
    EXPECT_TRUE(logged({"2 - Crl::isDeltaCRL: CRL is delta CRL"}));
    const Crl plain(listOf("1").get());
    EXPECT_FALSE(plain.isDeltaCRL());
    EXPECT_EQ(plain.getVersion(), 1);
    EXPECT_EQ(Crl(makeList("P-256", [](X509_CRL* list) { X509_CRL_set_version(list, 0); }).get()).getVersion(), 0);
    EXPECT_EQ(plain.getLastUpdate(), X509_CRL_get0_lastUpdate(plain.getX509Crl()));
    EXPECT_EQ(rfc2253(plain.getIssuer().getX509Name()), "CN=host");
}

TEST(Crl, Expiry) {
    captureLog();
    for (const char* next : {"-34560000", "-86400", "-60", "", "x", "19000101000000Z", "+60", "+86340", "+86460",
                             "+34560000", "99991231235959Z"}) {
        const bool expired = next[0] != '+' && next[0] != '9';
        const auto list = makeList("P-256", nullptr, "000101000000Z", next);
        const Crl crl(list.get());
        takeLog();
        EXPECT_EQ(crl.isExpired(), expired) << next;
        const std::string text = "16 - Crl::isExpired: Failed to compare next update time and current time.";
        EXPECT_TRUE(failuresLogged(std::vector<std::string>(next[0] == 'x' ? 1 : 0, text)));
        EXPECT_EQ(CrlUtil::isCrlExpired(list.get()), expired) << next;
    }
    EXPECT_TRUE(CrlUtil::isCrlExpired(nullptr));
}

TEST(Crl, NewerThan) {
    captureLog();
    std::vector<Crl> crls; // in their order
    for (const char* time : {"18991231235959Z", "000101000000Z", "000101000001Z", "000102000000Z", "20000102000001Z",
                             "000103000000Z", "491231235959Z", "20500101000000Z"}) {
        crls.emplace_back(makeList("P-256", nullptr, time).get());
    }
    for (size_t i = 0; i < crls.size(); ++i) {
        for (size_t j = 0; j < crls.size(); ++j) {
            EXPECT_EQ(crls[i].isNewerThan(crls[j]), i > j) << i << j;
        }
    }
    const Crl bad(makeList("P-256", nullptr, "x").get());
    const std::string text = "Failed to compare last update times.";
    fails("Crl::isNewerThan", {{[&] { EXPECT_FALSE(bad.isNewerThan(crls[0])); }, "", {text}},
                               {[&] { EXPECT_FALSE(crls[0].isNewerThan(bad)); }, "", {text}}});
}

} // namespace
