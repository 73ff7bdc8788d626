// A URL's server and port, and the other small helpers around lists.

#include <map>
#include <sstream>

#include <openssl/err.h>

#include "revocation/ListLog.h"
#include "testlib/Pki.h"
#include "testlib/Testlib.h"

namespace {

TEST(Url, ServerAndPort) {
    for (const auto& row : readRows("urls.txt")) {
        const std::string url = unescaped(row[0]);
        std::string server = "before";
        int port = 7;
        const int result = CrlUtil::parseURL(url, server, port);
        EXPECT_EQ(server, unescaped(row[2])) << row[0];
        EXPECT_EQ(std::to_string(result) + " " + std::to_string(port), row[1] + " " + row[3]) << row[0];
        std::string both = url;
        EXPECT_EQ(CrlUtil::parseURL(both, both, port), result);
        EXPECT_EQ(both, server) << row[0];
    }
    std::string server;
    int port = 0;
    captureLog();
    for (const char* url : {"ftp://%s/", "https:/%s/", "HTTP://%s%n", "http://h:7", "https://%S/x", "http://%s:8/"}) {
        takeLog();
        CrlUtil::parseURL(url, server, port);
        EXPECT_TRUE(loggedAs(url));
    }
}

Owned<X509> certificateNumbered(const std::string& serial) {
    return makeCertificate("P-256", [&](X509* made) { X509_set_serialNumber(made, serialFrom(serial).get()); });
}

TEST(CertificatesToCheck, ByLevel) {
    captureLog();
    const std::string leaf = pem(certificateNumbered("0a").get());
    const std::string bad = pemOf("bad/CERTIFICATE:");
    const std::string text =
        pemOf("text:+pkcs8:P-256") + leaf + pem(certificateNumbered("0b").get()) + pemOf("crl:P-256");
    const std::string disabled = "Input crlCheckLevel found DISABLED";
    const std::string unsupported = "Unsupported value provided for crlCheckLevel";
    const std::string noLeaf = "Failed to get x509 leaf cert from the PEM cert chain with error: *";
    const std::string noChain = "Failed to get x509 certs from the PEM cert chain with error: *";
    const auto check = [](const std::string& chain, int level, const std::string& expected, const std::string& line) {
        STACK_OF(X509)* out = reinterpret_cast<STACK_OF(X509)*>(1);
        takeLog();
        queueHostError();
        const int code = CrlUtil::getX509CertsToGetCrlsFor(chain, static_cast<crl_check_level>(level), &out);
        const Owned<STACK_OF(X509)> owner(code == 0 ? out : nullptr);
        EXPECT_EQ(out == reinterpret_cast<STACK_OF(X509)*>(1), code != 0);
        std::string result = std::to_string(code);
        for (int i = 0; i < sk_X509_num(owner.get()); ++i) {
            result += " " + CrlUtil::getCertSerialNumberInHex(sk_X509_value(out, i));
        }
        EXPECT_EQ(result, expected);
        const std::string tag = "16 - CrlUtil::getX509CertsToGetCrlsFor(): ";
        EXPECT_TRUE(logged("16 - CrlUtil", std::vector<std::string>(line.empty() ? 0 : 1, tag + line)))
            << chain << level;
    };
    check(text, 1, "0 0A", "");
    check(text, 2, "0 0A 0B", "");
    check(leaf + bad, 1, "0 0A", "");
    check(leaf + bad, 2, "5942", noChain);
    check(bad, 1, "5942", noLeaf);
    check("x", 1, "5942", noLeaf);
    check("x", 2, "5942", noChain);
    check("", 0, "20", "Input certChain found empty");
    check(text, 0, "20", disabled);
    check(text, 3, "20", unsupported);
    check(text, -1, "20", unsupported);
    const auto without = [&](int level) {
        return [&, level] { CrlUtil::getX509CertsToGetCrlsFor(text, static_cast<crl_check_level>(level), nullptr); };
    };
    fails("CrlUtil::getX509CertsToGetCrlsFor()",
          {{without(0), "", {disabled}}, {without(7), "", {"Input x509Certs found NULL"}}});
}

TEST(CertificateText, HashAndSerialNumber) {
    size_t shortest = 8;
    for (int i = 0; i < 64; ++i) {
        const auto name = nameFrom("CN=" + std::to_string(i));
        const auto made = makeCertificate("P-256", [&](X509* change) { X509_set_issuer_name(change, name.get()); });
        std::ostringstream expected;
        expected << std::hex << X509_NAME_hash_ex(name.get(), nullptr, nullptr, nullptr);
        EXPECT_EQ(CrlUtil::getCertIssuerNameHashInHex(made.get()), expected.str());
        shortest = std::min(shortest, expected.str().size());
    }
    EXPECT_LT(shortest, 8u); // one without padding was among them
    for (const char* text : {"0", "07", "0ABC", "-05", "80", "-80", "7FABCDEF0123456789ABCDEF0123456789ABCDEF"}) {
        EXPECT_EQ(CrlUtil::getCertSerialNumberInHex(certificateNumbered(text).get()), text);
    }
    EXPECT_EQ(CrlUtil::getCertIssuerNameHashInHex(nullptr) + CrlUtil::getCertSerialNumberInHex(nullptr), "");
}

TEST(VerifyStatus, Table) {
    std::map<int, int> statuses = {{0, 0},     {3, 9327},  {5, 9328},  {8, 9329},  {11, 9330}, {12, 9314}, {15, 9331},
                                   {16, 9332}, {23, 9318}, {33, 9333}, {35, 9334}, {36, 9335}, {44, 9336}, {54, 9337}};
    for (int error = -1; error < 200; ++error) {
        EXPECT_EQ(CrlUtil::getCrlQxuStatusFromSSLerr(error), statuses.emplace(error, 9104).first->second) << error;
    }
}

TEST(OpenSslErrors, LatestIsLoggedAndStays) {
    captureLog();
    CrlUtil::logOpenSSLErrors("%s::f");
    EXPECT_TRUE(logged({}));
    for (const int library : {ERR_LIB_X509, ERR_LIB_SYS}) {
        queueHostError();
        ERR_raise(library, 2);
        CrlUtil::logOpenSSLErrors("%s::f");
        const unsigned long error = ERR_peek_last_error();
        char text[256];
        ERR_error_string_n(error, text, sizeof text);
        EXPECT_TRUE(logged({"16 - %s::f: OpenSSL error " + std::to_string(error) + " :  " + text}));
        EXPECT_EQ(ERR_GET_LIB(ERR_get_error()), ERR_LIB_USER); // the older one, too
        EXPECT_EQ(ERR_GET_LIB(ERR_get_error()), library);
    }
}

} // namespace
