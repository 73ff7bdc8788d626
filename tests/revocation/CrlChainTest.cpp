#include "testlib/Pki.h"
#include "testlib/Testlib.h"

namespace {

TEST(CrlChain, ListsInOrderWhateverStandsBetween) {
    captureLog();
    const PassPhraseOnInput input;
    const std::string one = pem(makeList("P-256").get());
    const std::string two = pem(makeList("RSA-2048", [](X509_CRL* list) { revoke(list, "1+2"); }).get());
    const std::string nul = pemOf("nul:");
    const std::pair<std::string, std::string> rows[] = {
        {one, one},
        {pemOf("cert:P-256") + one + two, one + two},
        {two + one + two, two + one + two},
        {"text\n" + one + pemOf("pkcs8:P-256+trusted:P-256+public:P-256+text:") + two, one + two},
        {one + pemOf("cert:P-256+old:P-256+locked/PRIVATE_KEY:P-256"), one},
        {pemOf("pkcs8/AES-128-CBC:P-256+text:") + one, one},
        {one + nul + two, one},
        {one + nul + pemOf("bad/X509_CRL:"), one}};
    for (const auto& [text, lists] : rows) {
        const X509CrlChain chain(text);
        takeLog();
        const uint64_t length = chain.getCRLChainLength();
        EXPECT_TRUE(logged({"2 - getCRLChainLength(): Length of crl stack is " + std::to_string(length)}));
        std::string copies;
        std::string shown;
        for (unsigned int i = 0; i < length; ++i) {
            copies += pem(Owned<X509_CRL>(chain.getCRLatIndex(i)).get());
            shown += pem(sk_X509_CRL_value(chain.getX509Crls(), static_cast<int>(i)));
        }
        EXPECT_TRUE(copies == lists && shown == lists && chain.getCrlChainBlob() == text) << text;
    }
    const std::string unread = "-1 PEM_X509_INFO_read_bio() failed to read crlBio";
    const std::string none = "-1 CRL(s) not found in input crlChainBlob";
    for (const auto& [text, reason] :
         std::vector<std::pair<std::string, std::string>>{{one + pemOf("bad/X509_CRL:"), unread},
                                                          {pemOf("bad/CERTIFICATE:") + one, unread},
                                                          {one + pemOf("locked/X509_CRL:P-256"), unread},
                                                          {pemOf("locked/CERTIFICATE:P-256") + one, unread},
                                                          {one.substr(0, one.size() - 30), unread},
                                                          {"text", none},
                                                          {pemOf("cert:P-256+pkcs8:P-256"), none},
                                                          {nul + one, none},
                                                          {"", "20 Input crlChainBlob is empty"}}) {
        const std::string message = reason.substr(reason.find(' ') + 1);
        std::vector<std::string> lines(text.empty() ? 0 : 1, "16 - extractX509CrlFromString(): SSL Error : *");
        lines.push_back("16 - extractX509CrlFromString(): Caught Exception : " + message);
        lines.push_back("16 - X509CrlChain::X509CrlChain(const string): extractX509CrlFromString failed with reason :" +
                        message);
        EXPECT_TRUE(fails([text = text] { const X509CrlChain chain(text); }, reason, lines)) << text;
    }
    EXPECT_FALSE(input.asked());
}

TEST(CrlChain, CopiesOutliveIt) {
    captureLog();
    const std::string text = pem(makeList().get());
    auto chain = std::make_unique<X509CrlChain>(text);
    const Owned<X509_CRL> copy(chain->getCRLatIndex(0));
    const std::string limits = "20 Input index is not valid limits of crl stack";
    fails("getCRLatIndex()",
          {{[&] { chain->getCRLatIndex(1); }, limits}, {[&] { chain->getCRLatIndex(UINT32_MAX); }, limits}});
    const Owned<X509_CRL> taken(sk_X509_CRL_value(chain->getX509Crls(), 0));
    sk_X509_CRL_set(chain->getX509Crls(), 0, nullptr);
    fails("getCRLatIndex()", {{[&] { chain->getCRLatIndex(0); },
                               "-1 Failed to extract X509_CRL at index",
                               {"Failed to extract X509_CRL at index : 0", "SSL Error : *"}}});
    takeLog();
    chain.reset();
    EXPECT_TRUE(logged({"4 - X509CrlChain::~X509CrlChain(): Removing crl from x509Crls stack."}));
    EXPECT_EQ(pem(copy.get()), text);
}

} // namespace
