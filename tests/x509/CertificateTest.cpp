#include <atomic>
#include <filesystem>
#include <thread>

#include <openssl/rsa.h>

#include "testlib/Pki.h"
#include "testlib/Platform.h"
#include "testlib/Testlib.h"

namespace {

const std::string certificateTag = " - X509Certificate::";

TEST(Certificate, NamesAndSerialNumber) {
    captureLog();
    for (const std::string& expected : {std::string("0"), std::string("01"), std::string("7F"), std::string("-01"),
                                        std::string("-8000"), "FFEE" + std::string(4000, '7')}) {
        const Owned<X509_NAME> issuer = nameFrom("O=Org,CN=ca");
        const Owned<X509> made = makeCertificate("P-256", [&](X509* certificate) {
            BIGNUM* number = nullptr;
            BN_hex2bn(&number, expected.c_str());
            BN_to_ASN1_INTEGER(number, X509_get_serialNumber(certificate));
            BN_free(number);
            X509_set_issuer_name(certificate, issuer.get());
        });
        const X509Certificate certificate(made.get());
        EXPECT_EQ(certificate.getSerialNumber(), expected);
        EXPECT_TRUE(
            logged("2" + certificateTag, {"2" + certificateTag + "getSerialNumber: BN_bn2hex returned: " + expected}));
        EXPECT_TRUE(certificate.getIssuer() == issuer.get());
        EXPECT_EQ(certificate.getSubject().getCommonName(), "host");
        EXPECT_EQ(certificate.getIssuerAsString(NAME_FORMAT_RFC2253), "CN=ca,O=Org");
        EXPECT_EQ(certificate.getSubjectAsString(NAME_FORMAT_LEGACY_ONELINE), "/CN=host");
    }
}

TEST(Certificate, Dates) {
    captureLog();
    const struct {
        const char *date, *text;
        int64_t epoch;
    } rows[] = {{"691231235959Z", "Dec 31 23:59:59 1969 GMT", -1},
                {"500101000000Z", "Jan  1 00:00:00 1950 GMT", -631152000},
                {"300102030405Z", "Jan  2 03:04:05 2030 GMT", 1893553445},
                {"380119031407Z", "Jan 19 03:14:07 2038 GMT", INT32_MAX},
                {"380119031408Z", "Jan 19 03:14:08 2038 GMT", INT32_MIN},
                {"400101000000Z", "Jan  1 00:00:00 2040 GMT", -2085978496},
                {"20500101000000Z", "Jan  1 00:00:00 2050 GMT", -1770359296},
                {"99991231235959Z", "Dec 31 23:59:59 9999 GMT", -769665}};
    for (const auto& row : rows) {
        const Owned<X509> made = makeCertificate("P-256", [&](X509* certificate) {
            ASN1_TIME_set_string(X509_getm_notAfter(certificate), row.date);
            ASN1_TIME_set_string(X509_getm_notBefore(certificate), "19700102000000Z");
        });
        const X509Certificate certificate(made.get(), false);
        EXPECT_EQ(certificate.getExpiryDate(), row.text);
        EXPECT_EQ(certificate.getCertitifcateDate(CERT_DATE_START), "Jan  2 00:00:00 1970 GMT");
        EXPECT_EQ(certificate.getStartDate(), "Jan  2 00:00:00 1970 GMT");
        EXPECT_EQ(certificate.getExpiryDateEPOC(), row.epoch);
    }
    for (int offset = -1; offset <= 1; ++offset) {
        const Owned<X509> made = makeCertificate();
        const X509Certificate certificate(made.get(), false);
        bool expired = false;
        bool valid = false;
        time_t now = 0;
        do { // a second may end in between
            now = time(nullptr);
            ASN1_TIME_set(X509_getm_notAfter(made.get()), now + offset);
            ASN1_TIME_set(X509_getm_notBefore(made.get()), now + offset);
            takeLog();
            expired = certificate.isCertExpired();
            valid = certificate.isCertValidNow();
        } while (now != time(nullptr));
        EXPECT_TRUE(expired == (offset < 0) && valid == (offset <= 0)) << offset;
        const std::string text = offset < 0
                                     ? "isCertExpired: Local certifciate with subject [CN = host] is expired."
                                     : "isCertValidNow: Local certifciate with subject [CN = host] is not yet valid.";
        EXPECT_TRUE(failuresLogged(std::vector<std::string>(offset == 0 ? 0 : 1, "16" + certificateTag + text)));
    }
}

TEST(Certificate, MalformedDates) {
    captureLog();
    const Owned<X509> made = makeCertificate();
    ASN1_STRING_set(X509_getm_notAfter(made.get()), "no date", -1);
    ASN1_STRING_set(X509_getm_notBefore(made.get()), "no date", -1);
    const X509Certificate certificate(made.get(), false);
    const std::string epoch = "Failed to retrieve the expiry date of the certificate in epoch format";
    fails("X509Certificate::isCertExpired",
          {{[&] { certificate.isCertExpired(); }, "5904 Failed to check certificate notAfter validity."}});
    fails("X509Certificate::isCertValidNow",
          {{[&] { certificate.isCertValidNow(); }, "5904 Failed to check certificate notbefore validity."}});
    fails("X509Certificate::getExpiryDateEPOC",
          {{[&] { certificate.getExpiryDateEPOC(); }, "5904 " + epoch, {epoch + "."}}});
    EXPECT_EQ(certificate.getExpiryDate(), "Bad time value"); // as OpenSSL shows it
    EXPECT_EQ(thrown([&] { certificate.getCertitifcateDate(CertDate(2)); }), "-1 Unknown date type");
}

TEST(Certificate, KeyIdentifiers) {
    captureLog();
    const int subject = NID_subject_key_identifier;
    const int authority = NID_authority_key_identifier;
    const std::string identifier = tlv(4, unescaped("%00%9f%ff"));
    const std::string failed = "8" + certificateTag + "getAuthorityKeyIdentifier: failed to get the ";
    const std::string end = " from x509 certificate extension";
    const std::string noSubject =
        "8" + certificateTag + "getSubjectKeyIdentifier: failed to get the Subject Key Identifier" + end;
    const std::string noIdentifier = failed + "authority key identifier extension" + end;
    const std::string noExtension = failed + "index for NID_authority_key_identifier" + end;
    const struct {
        std::vector<std::pair<int, std::string>> extensions;
        std::string identifiers;
        std::vector<std::string> warnings;
    } rows[] = {
        {{}, "/", {noSubject, noExtension}},
        {{{subject, identifier}, {authority, tlv(0x30, '\x80' + identifier.substr(1))}}, "00:9F:FF/00:9F:FF", {}},
        {{{subject, tlv(4, "a")}, {authority, tlv(0x30, tlv(0x82, "\1"))}}, "61/", {noIdentifier}},
        {{{subject, "x"}, {authority, "x"}}, "/", {noSubject, failed + "authority key identifier" + end}},
        {{{subject, identifier}, {subject, identifier}}, "/", {noSubject, noExtension}}};
    for (const auto& row : rows) {
        const X509Certificate certificate(makeCertificate(row.extensions).release(), true);
        takeLog();
        const std::string found = certificate.getSubjectKeyIdentifier() + "/";
        EXPECT_EQ(found + certificate.getAuthorityKeyIdentifier(), row.identifiers);
        EXPECT_TRUE(logged("8 ", row.warnings));
    }
}

TEST(Certificate, AlternativeNames) {
    captureLog();
    const std::string function = certificateTag + "getSubjectAltNames: ";
    const auto namesOf = [](const std::vector<std::pair<int, std::string>>& extensions) {
        const X509Certificate certificate(makeCertificate(extensions).release(), true);
        takeLog();
        return certificate.getSubjectAltNames();
    };
    const auto rows = readRows("alternative-names.txt");
    std::string all;
    std::vector<std::string> expected;
    std::vector<std::string> lines = {"2" + function + "[" + std::to_string(rows.size()) +
                                      "] Subject Alternative Name entries found in the given certificate"};
    for (const auto& row : rows) {
        const std::string kind = row[0].substr(1);
        all += tlv(std::stoi(row[0], nullptr, 16), unescaped(row[1]));
        lines.push_back("2" + function + "SAN entry type :: [" + kind + "]");
        lines.push_back("2" + function + "Subject Alternative Name = " + unescaped(row[2]).c_str());
        if (row[2] != "none") {
            expected.push_back(unescaped(row[2]));
        } else {
            lines.back() =
                "8" + function +
                (kind == "7" ? "Invalid length for SAN entry of type [7]"
                             : "Parsing for [" + kind + "] type in the SAN entry in the certificate is not handled.");
        }
    }
    EXPECT_EQ(namesOf({{NID_subject_alt_name, tlv(0x30, all)}}), expected);
    EXPECT_TRUE(logged("*" + function, lines));
    std::string thousand;
    for (int entry = 0; entry < 1000; ++entry) {
        thousand += tlv(0x82, "host" + std::to_string(entry));
    }
    EXPECT_EQ(namesOf({{NID_subject_alt_name, tlv(0x30, thousand)}}).at(999), "host999");
    const auto one = std::pair(NID_subject_alt_name, tlv(0x30, tlv(0x82, "host")));
    const auto malformed = std::pair(NID_subject_alt_name, std::string("x"));
    for (const auto& extensions : {std::vector<std::pair<int, std::string>>{}, {one, one}, {malformed}}) {
        EXPECT_TRUE(namesOf(extensions).empty());
        EXPECT_TRUE(logged({"2" + function + "[0] Subject Alternative Name entries found in the given certificate"}));
    }
}

TEST(Certificate, AlgorithmAndKeySize) {
    captureLog();
    const std::pair<const char*, const EVP_MD*> rows[] = {
        {"RSA-2048", EVP_md5()}, {"RSA-2048", EVP_sha1()}, {"P-384", EVP_sha1()}, {"ED25519", nullptr}};
    for (const auto& [key, digest] : rows) {
        const Owned<X509> made = makeCertificate(key, nullptr, digest);
        const X509Certificate certificate(made.get());
        EXPECT_EQ(certificate.getKeySize(), EVP_PKEY_get_bits(keyOf(key)));
        const auto validate = [&] { certificate.validateAlgorithm(); };
        if (digest == EVP_md5()) {
            fails("X509Certificate::validateAlgorithm",
                  {{validate,
                    "8799 Failed to validate the sign algorithm",
                    {"Failed to validate the md5WithRSAEncryption sign algorithm"}}});
        } else {
            EXPECT_EQ(thrown(validate), "");
        }
    }
    const Owned<X509> pss = makeCertificate("RSA-2048");
    const Owned<EVP_MD_CTX> context(EVP_MD_CTX_new());
    EVP_PKEY_CTX* signing = nullptr;
    EVP_DigestSignInit(context.get(), &signing, EVP_sha256(), nullptr, keyOf("RSA-2048"));
    EVP_PKEY_CTX_set_rsa_padding(signing, RSA_PKCS1_PSS_PADDING);
    ASSERT_GT(X509_sign_ctx(pss.get(), context.get()), 0);
    EXPECT_EQ(thrown([&] { X509Certificate(pss.get()).validateAlgorithm(); }), "");
    ASN1_OBJECT* const unknown = OBJ_txt2obj("1.2.3.4", 1);
    X509_PUBKEY_set0_param(X509_get_X509_PUBKEY(pss.get()), unknown, V_ASN1_UNDEF, nullptr, nullptr, 0);
    EXPECT_EQ(X509Certificate(pem(pss.get()), INIT_TYPE_BLOB).getKeySize(), 0);
}

TEST(Certificate, SavedButNeverOver) {
    captureLog();
    const Folder folder;
    const X509Certificate certificate(makeCertificate().release(), true);
    const auto save = [&](const std::string& name) { return [&, name] { certificate.saveToFile(folder.path(name)); }; };
    occupy(folder.path("dangling"));
    const auto exists = [&](const std::string& name) {
        return Failing{save(name),
                       "-1 Specified certificate file already exists",
                       {"File path [" + folder.path(name) + "] already exists"}};
    };
    const auto refused = [&](const std::string& name) {
        return Failing{save(name), "12 Failed to open cert file", {"Failed to open cert file " + folder.path(name)}};
    };
    fails("X509Certificate::saveToFile",
          {{save("new"), ""}, exists("new"), exists("dangling"), exists(""), refused("%s/file"), refused("new/file")});
    EXPECT_EQ(contentOf(folder.path("new")), pem(certificate.getX509()));
    EXPECT_EQ(thrown([&] { X509Certificate(certificate).saveToFile(folder.path("none")); }).substr(0, 3), "14 ");
    EXPECT_FALSE(std::filesystem::exists(folder.path("dangling-target")) ||
                 std::filesystem::exists(folder.path("none")));
    std::vector<std::thread> threads;
    std::atomic<int> saved = 0;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&] { saved += thrown(save("contested")).empty() ? 1 : 0; });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(saved, 1);
    EXPECT_EQ(contentOf(folder.path("contested")), pem(certificate.getX509()));
}

TEST(Certificate, CopiesAreEmptyAndOwnershipIsAsTold) {
    captureLog();
    X509* raw = makeCertificate().release();
    X509Certificate owner(raw, true);
    X509Certificate copy(owner);
    EXPECT_EQ((owner = copy).getX509(), nullptr);
    EXPECT_EQ(owner.getX509(), raw);
    const std::unique_ptr<X509Certificate> duplicate(owner.X509Certificate_dup());
    EXPECT_EQ(X509_cmp(duplicate->getX509(), raw), 0);
    unsigned char digest[64];
    const std::string sslError = "Unable to create a copy of certificate SSL ERROR:";
    fails("X509Certificate::generateHash",
          {{[&] { owner.generateHash(nullptr, HASH_ALGO_SHA1); },
            "20 fp_text is output variable and cannot be null",
            {"fp_text is output variable and cannot be NULL"}},
           {[&] { owner.generateHash(digest, HASH_ALGO_MD5); }, "20 Failed to initialize EVP_get_digestbyname"}});
    fails("X509Certificate::X509Certificate_dup",
          {{[&] { copy.X509Certificate_dup(); },
            "10 Unable to create a copy of certificate, possibly due to memory issue",
            {sslError + "*"}}});
    fails("X509Certificate::getPemString",
          {{[&] { copy.getPemString(); },
            "5900 Failed to get Cert String from X509 cert",
            {"Failed to get Cert String from X509 Cert; unable to convert x509 to PEM", "SSL Error : *"}}});
    EXPECT_TRUE(copy.getSubjectAltNames().empty());
    EXPECT_TRUE(failuresLogged({"16" + certificateTag +
                                "getSubjectAltNames: Failed to get subject alternative name from X509 certificate; a "
                                "NULL argument was passed in"}));
    EXPECT_EQ(copy.getSerialNumber() + copy.getSubjectKeyIdentifier() + copy.getAuthorityKeyIdentifier(), "");
    EXPECT_TRUE(copy.getCertCdps() == nullptr && copy.getCdpsCount() == 0 && copy.validateCDPsURLs() == 9323);
    for (const auto& use : std::vector<std::function<void()>>{
             [&] { copy.generateHash(HASH_ALGO_SHA256); }, [&] { copy.generateHash(digest, HASH_ALGO_SHA256); },
             [&] { copy.getIssuer(); }, [&] { copy.getSubjectAsString(NAME_FORMAT_ONELINE); },
             [&] { copy.getStartDate(); }, [&] { copy.getKeySize(); }}) {
        EXPECT_EQ(thrown(use).substr(0, 3), "20 ");
    }
    EXPECT_EQ(thrown([&] { copy.getExpiryDateEPOC(); }).substr(0, 4), "5904");
    EXPECT_EQ(thrown([&] { copy.isCertExpired(); }).substr(0, 4), "5904");
    EXPECT_EQ(thrown([&] { copy.isCertValidNow(); }).substr(0, 4), "5904");
    EXPECT_EQ(thrown([&] { copy.validateAlgorithm(); }), "8799 Failed to get the signature");
}

TEST(Certificate, FlatFunctions) {
    Owned<X509> certificate = makeCertificate();
    char* text = nullptr;
    EXPECT_EQ(cmncrypto_getPEMfromCertificate(certificate.get(), &text), 0);
    EXPECT_EQ(Allocated<char>(text).get(), pem(certificate.get()));
    EXPECT_EQ(cmncrypto_getPEMfromCertificate(nullptr, &text), 5900);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(cmncrypto_getPEMfromCertificate(certificate.get(), nullptr), 20);
    X509* raw = certificate.release();
    for (X509** released : {&raw, &raw, static_cast<X509**>(nullptr)}) {
        EXPECT_EQ(cmncrypto_releaseCertificate(released), 0);
        EXPECT_EQ(raw, nullptr);
    }
}

} // namespace
