#include <filesystem>

#include "libwincertstore/Bridge.h"

namespace {

using namespace bridge;

/** "name<issuer/letters": beside the extensions "-" expired, "+" not yet valid, "1" signed with SHA-1,
 *  "x" by a wrong key, "w" with a short key, "T" trusted for TLS clients only. */
std::string certificateFrom(const std::string& text, const Rows& rows) {
    static std::map<std::string, std::string> made; // one in two stores is the same
    if (std::string& known = made[text]; !known.empty()) {
        return known;
    }
    const std::vector<std::string> parts = pieces(text.substr(0, text.find('/')), '<');
    const std::string letters = text.find('/') < text.size() ? text.substr(text.find('/') + 1) : "";
    const auto has = [&](char letter) { return letters.find(letter) != std::string::npos; };
    const auto change = [&](X509* one) {
        X509_set_subject_name(one, nameFrom("CN=" + parts[0]).get());
        X509_set_issuer_name(one, nameFrom("CN=" + parts[1]).get());
        X509_gmtime_adj(X509_getm_notBefore(one), has('+') ? 1000 : -2000);
        X509_gmtime_adj(X509_getm_notAfter(one), has('-') ? -1000 : 2000);
        for (const auto& row : rows) {
            if (row[0][0] == ':' && has(row[0][1])) {
                const Owned<X509_EXTENSION> extension = makeExtension(OBJ_sn2nid(row[1].c_str()), fromHex(row[2]));
                X509_EXTENSION_set_critical(extension.get(), row[0][1] == '?' ? 1 : 0);
                X509_add_ext(one, extension.get(), -1);
            }
        }
    };
    const std::string signer = "P-256#" + (has('x') ? "other" : parts[1]);
    const Owned<X509> one = makeCertificate(has('w') ? "RSA-768" : "P-256#" + parts[0], change,
                                            has('1') ? EVP_sha1() : EVP_sha256(), signer);
    if (has('T')) {
        X509_add1_trust_object(one.get(), OBJ_nid2obj(NID_client_auth));
        return made[text] = written([&](BIO* out) { return PEM_write_bio_X509_AUX(out, one.get()); });
    }
    return made[text] = pem(one.get());
}

/** "*issuer/letters": a list, "!" that revokes all, "-" that is out of date, "+" not yet valid, "x" by a wrong key,
 *  "d" in DER, "D" a delta list. */
std::string listFrom(const std::string& text) {
    const std::string issuer = text.substr(1, text.find('/') - 1);
    const auto has = [&](char letter) { return text.find(letter, issuer.size()) != std::string::npos; };
    const auto change = [&](X509_CRL* list) {
        X509_CRL_set_issuer_name(list, nameFrom("CN=" + issuer).get());
        revoke(list, has('!') ? "1" : "2");
        if (has('D')) {
            X509_CRL_add1_ext_i2d(list, NID_delta_crl, X509_get_serialNumber(makeCertificate("P-256").get()), 1, 0);
        }
    };
    const Owned<X509_CRL> list = makeList("P-256#" + (has('x') ? "other" : issuer), change, has('+') ? "+500" : "-2000",
                                          has('-') ? "-1000" : "+1000");
    return has('d') ? der(list.get()) : pem(list.get());
}

TEST(StoreVerification, Situations) {
    const Rows rows = readRows("store-verify.txt");
    for (const auto& row : rows) {
        if (row[0][0] == ':') {
            continue;
        }
        const Folder folder;
        for (const std::string& file : pieces(row[0], ';')) {
            const std::vector<std::string> parts = pieces(file, '=');
            const bool isList = parts[1][0] == '*';
            std::filesystem::create_directories(std::filesystem::path(folder.path(parts[0])).parent_path());
            std::string content;
            for (const std::string& one : pieces(parts[1], '&')) {
                content += isList ? listFrom(one) : one == "junk" ? one : certificateFrom(one, rows);
            }
            folder.write(parts[0] + (isList || parts[1] == "junk" ? ".crl" : ".pem"), content);
        }
        const auto platform = std::make_shared<SoftwareCertStore>(folder.path(""));
        CertStoreHandle store = nullptr;
        ASSERT_EQ(platform->openStore("MY", true, store), 0U);
        const WinCertStoreCertificate leaf(platform->findBySubject(store, "", nullptr), CERT_MEMORY_OWNED, platform);
        platform->closeStore(store);
        const CertChainPolicy policy = {row[1] != "client", unescaped(row[2]), row[3] == "lists"};
        const auto error = static_cast<uint32_t>(std::stoul(row[4], nullptr, 16));
        EXPECT_EQ(platform->verifyChain(leaf.GetContext(), policy), error) << row[0] << row[1] << row[2] << row[3];
        EXPECT_EQ(verify_certchain(leaf, policy), error == 0 ? 0 : 13) << row[0];
    }
}

TEST(StoreVerification, AnswersAndValidator) {
    const FakeBridge given;
    const WinCertStoreCertificate certificate(given.platform->context({"x"}));
    const Owned<SSL_CTX> ctx(SSL_CTX_new(TLS_server_method()));
    for (const auto& [error, code, product] : std::vector<std::tuple<uint32_t, int, int>>{
             {0, 0, 0}, {0x800B010F, 13, 8794}, {50, 15, 200}, {8, 1, 36}, {noMemory, 1, 36}}) {
        given.platform->fail("verifyChain", error);
        EXPECT_EQ(verify_certchain(certificate, {false, "h", true}), code);
        Helper helper(path, certchain_validator({true, "h", false}), {});
        EXPECT_EQ(helper.get_ssl_ctx(nullptr, ctx.get()), product);
        const Lines calls = given.platform->takeCalls();
        EXPECT_EQ(std::count(calls.begin(), calls.end(), "verifyChain host server h"), 1);
    }
    EXPECT_EQ(verify_certchain(WinCertStoreCertificate()), 14);
}

} // namespace
