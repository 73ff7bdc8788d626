#include <map>
#include <set>

#include <openssl/core_names.h>

#include "testlib/Pki.h"
#include "testlib/Platform.h"
#include "testlib/Testlib.h"

namespace {

const std::string keyTag = " - X509PrivateKey::";

TEST(PrivateKey, SizesAndCopies) {
    captureLog();
    for (const auto& [kind, size] :
         std::map<std::string, int>{{"RSA-1023", 1024}, {"RSA-1024", 1024}, {"RSA-2048", 2048}}) {
        const X509PrivateKey key(keyOf(kind), false);
        EXPECT_EQ(key.getKeySize(), size);
        EXPECT_TRUE(logged({"2" + keyTag + "getKeySize: Keysize is [" + std::to_string(size) + "]"}));
    }
    for (EVP_PKEY* key : {keyOf("P-256"), keyOf("ED25519"), static_cast<EVP_PKEY*>(nullptr)}) {
        fails("X509PrivateKey::getKeySize",
              {{[=] { X509PrivateKey(key, false).getKeySize(); }, "36 Fail to extract RSA from private key."}});
    }
    EVP_PKEY* const raw = EVP_PKEY_dup(keyOf("P-256"));
    const X509PrivateKey owner(raw, true);
    X509PrivateKey target(keyOf("P-384"), false);
    EXPECT_EQ((target = owner).getEVPKey(), nullptr);
    EXPECT_EQ(X509PrivateKey(owner).getEVPKey(), nullptr);
    EXPECT_TRUE(target.getEVPKey() == keyOf("P-384") && owner.getEVPKey() == raw);
}

TEST(PrivateKey, SignaturesAreVerifiedByOpenSsl) {
    captureLog();
    const EVP_MD* const digests[] = {nullptr, EVP_sha256(), EVP_sha512(), EVP_sha1()};
    const std::string calling = "2" + keyTag + "getSign: Calling sign ";
    for (const std::string kind : {"RSA-2048", "P-256"}) {
        for (const std::string& data : {std::string(), std::string("a\0b", 3), pseudoRandom(1000000, 1)}) {
            for (const int algorithm : {1, 2, 3}) {
                takeLog();
                const std::string text = X509PrivateKey(keyOf(kind), false).getSign(data, _HASH_ALGO(algorithm));
                EXPECT_TRUE(logged(calling, {calling + "init.", calling + "update.", calling + "final."}));
                unsigned char signature[1000];
                const int length = EVP_DecodeBlock(signature, bytes(text), static_cast<int>(text.size()));
                const auto size = static_cast<size_t>(length - std::count(text.begin(), text.end(), '='));
                const Owned<EVP_MD_CTX> context(EVP_MD_CTX_new());
                EVP_DigestVerifyInit(context.get(), nullptr, digests[algorithm], nullptr, keyOf(kind));
                EXPECT_EQ(EVP_DigestVerify(context.get(), signature, size, bytes(data), data.size()), 1)
                    << kind << algorithm;
            }
        }
    }
    const auto sign = [](EVP_PKEY* key, int algorithm) {
        return [=] { X509PrivateKey(key, false).getSign("data", _HASH_ALGO(algorithm)); };
    };
    for (const int algorithm : {0, 4, 5, -1}) {
        fails("X509PrivateKey::getSign", {{sign(keyOf("P-256"), algorithm),
                                           "-1 Failed to initialize sign context",
                                           {"Failed to initialize sign context."}}});
    }
    const X509PublicKey publicHalf(pemOf("public:RSA-2048"));
    for (EVP_PKEY* key : {keyOf("ED25519"), publicHalf.getEVPKey(), static_cast<EVP_PKEY*>(nullptr)}) {
        fails("X509PrivateKey::getSign",
              {{sign(key, 1), "-1 Failed to sign content final failed", {"Failed to sign content final failed."}}});
    }
}

TEST(PrivateKey, Requests) {
    captureLog();
    const std::string name64(64, 'x');
    const struct {
        std::string name, others, subject, shown;
    } rows[] = {{"host", "", "CN=host", ""},
                {"", "DNS:host", "CN=/", "DNS:host"},
                {"h\xe9", "DNS:a,IP:10.0.0.1, email:a@b", "CN=h\\C3\\A9", "DNS:a, IP Address:10.0.0.1, email:a@b"},
                {name64, "URI:http://a/%s,RID:1.2.3.4", "CN=" + name64, "URI:http://a/%s, Registered ID:1.2.3.4"}};
    const std::string log = "4" + keyTag + "getCSR: Generat";
    for (const auto& row : rows) {
        for (const std::string kind : {"RSA-2048", "P-256"}) {
            takeLog();
            const std::string text = X509PrivateKey(keyOf(kind), false).getCSR(row.name, row.others);
            std::vector<std::string> lines = {log + "ing CSR for the commonName " + row.name,
                                              log + "ing CSR with hash algo [SHA512]",
                                              log + "ed CSR as " + text + " for commonName " + row.name};
            if (!row.others.empty()) {
                lines.insert(lines.begin() + 1, log + "ing CSR for the SubjectAlternativeNames " + row.others);
            }
            EXPECT_TRUE(logged("4" + keyTag, lines));
            const Owned<BIO> in(BIO_new_mem_buf(text.c_str(), -1));
            const Owned<X509_REQ> request(PEM_read_bio_X509_REQ(in.get(), nullptr, nullptr, nullptr));
            EXPECT_EQ(X509_REQ_verify(request.get(), keyOf(kind)), 1);
            EXPECT_EQ(X509_REQ_get_signature_nid(request.get()),
                      kind[0] == 'R' ? NID_sha512WithRSAEncryption : NID_ecdsa_with_SHA512);
            EXPECT_EQ(rfc2253(X509_REQ_get_subject_name(request.get())), row.subject);
            const Owned<STACK_OF(X509_EXTENSION)> extensions(X509_REQ_get_extensions(request.get()));
            X509_EXTENSION* const names = sk_X509_EXTENSION_value(extensions.get(), 0);
            EXPECT_LE(sk_X509_EXTENSION_num(extensions.get()), 1);
            EXPECT_EQ(names == nullptr ? "" : written([&](BIO* out) { return X509V3_EXT_print(out, names, 0, 0); }),
                      row.shown);
        }
    }
    const auto request = [](EVP_PKEY* key, const std::string& name, const std::string& others) {
        return [=] { static_cast<void>(X509PrivateKey(key, false).getCSR(name, others)); };
    };
    EVP_PKEY* const key = keyOf("P-256");
    for (const char* names : {"host", "IP:999.1.1.1", "DNS", "dirName:section", "DNS:a,@section", "email:copy"}) {
        fails("X509PrivateKey::getCSR",
              {{request(key, "host", names), "text Error configuring Name Identifier in CSR extension."}});
    }
    fails("X509PrivateKey::getCSR", {{request(key, "", ""), "text CommonName and SubjectAltName is empty."},
                                     {request(key, name64 + "x", ""), "-1 Error adding host name in subject."},
                                     {request(keyOf("ED25519"), "host", ""), "-1 Error in signing request"},
                                     {request(nullptr, "host", "DNS:host"), "-1 Error in signing request"}});
}

TEST(PrivateKey, SavedAsPkcs8) {
    captureLog();
    const X509PrivateKey key(keyOf("RSA-2048"), false);
    const std::string function = "2" + keyTag + "saveToFile: ";
    for (const std::string& phrase : {std::string(), std::string("secret"), std::string("p\0\xc3\xa9 \"%s", 8)}) {
        const Owned<std::FILE> file(std::tmpfile());
        takeLog();
        EXPECT_EQ(key.saveToFile(file.get(), phrase), 0);
        EXPECT_TRUE(logged(
            {function + "Writing private Key",
             function + (phrase.empty() ? "Saving private key as plain text" : "Saving encrypted private key")}));
        std::rewind(file.get());
        char* name = nullptr;
        char* header = nullptr;
        unsigned char* data = nullptr;
        long length = 0;
        ASSERT_EQ(PEM_read(file.get(), &name, &header, &data, &length), 1);
        EXPECT_STREQ(name, phrase.empty() ? "PRIVATE KEY" : "ENCRYPTED PRIVATE KEY");
        const std::string aes256cbc = fromHex("060960864801650304012a");
        EXPECT_EQ(std::string(data, data + length).find(aes256cbc) != std::string::npos, !phrase.empty());
        OPENSSL_free(name);
        OPENSSL_free(header);
        OPENSSL_free(data);
        std::rewind(file.get());
        std::string pem(5000, ' ');
        pem.resize(std::fread(pem.data(), 1, pem.size(), file.get()));
        EXPECT_EQ(kindOf(X509PrivateKey(pem, phrase).getEVPKey()), "RSA-2048");
    }
    const Owned<std::FILE> full(openFull());
    const Owned<std::FILE> readOnly(std::fopen(emptyDevice, "r"));
    std::setvbuf(full.get(), nullptr, _IONBF, 0);
    const X509PrivateKey copy(key);
    const auto save = [](const X509PrivateKey& object, std::FILE* file) {
        return Failing{[&object, file] { EXPECT_EQ(object.saveToFile(file, "secret"), 1); },
                       "",
                       {"Failed to persist private key into file."}};
    };
    fails("X509PrivateKey::saveToFile",
          {save(key, readOnly.get()), save(key, full.get()), save(key, nullptr), save(copy, full.get())});
}

TEST(PrivateKey, Generated) {
    captureLog();
    for (const unsigned bits : {512U, 1023U, 2048U}) {
        EVP_PKEY* made = nullptr;
        EXPECT_EQ(cmncrypto_generatePrivateKey(static_cast<unsigned short>(bits), &made), 0);
        const Owned<EVP_PKEY> key(made);
        EXPECT_EQ(EVP_PKEY_get_bits(key.get()), static_cast<int>(bits));
        BIGNUM* exponent = nullptr;
        EVP_PKEY_get_bn_param(key.get(), OSSL_PKEY_PARAM_RSA_E, &exponent);
        EXPECT_TRUE(BN_is_word(Owned<BIGNUM>(exponent).get(), 65537));
    }
    EVP_PKEY* key = reinterpret_cast<EVP_PKEY*>(1);
    const std::string failed = "Failed to generate private key";
    for (const unsigned bits : {0U, 1U, 16U, 511U}) {
        const auto generate = [&] { X509PrivateKey::generatePrivateKey(static_cast<unsigned short>(bits), &key); };
        fails("X509PrivateKey::generatePrivateKey",
              {{generate, "14 " + failed, {"Failed to generate RSA with error Error - (*", failed}}});
        EXPECT_EQ(key, nullptr);
    }
    EXPECT_EQ(cmncrypto_generatePrivateKey(16, &key), 14);
    EXPECT_EQ(cmncrypto_generatePrivateKey(1024, nullptr), 20);
    takeLog();
    EXPECT_EQ(cmncrypto_releasePrivateKey(&key), 0);
    EXPECT_TRUE(logged({"2" + keyTag + "releasePrivateKey: Private key is null, cannot be released"}));
    EXPECT_EQ(cmncrypto_releasePrivateKey(nullptr), 0);
    for (const char* kind : {"RSA-1024", "P-256"}) {
        key = keyOf(kind);
        EVP_PKEY_up_ref(key);
        EXPECT_EQ(cmncrypto_releasePrivateKey(&key), 0);
        EXPECT_EQ(key, keyOf(kind)); // the pointer stays, and so does the reference that the test keeps
        EXPECT_GT(EVP_PKEY_get_bits(key), 0);
    }
}

subTokenValuePair unit = {"OU", "h\xe9", nullptr};
subTokenValuePair refusedPair = {"C", "three", &unit};
subTokenValuePair subject = {"CN", "host", &refusedPair};

TEST(SelfSigned, Fields) {
    captureLog();
    const auto make = [](unsigned days, int algorithm, EVP_PKEY* key) {
        X509* certificate = nullptr;
        EXPECT_EQ(cmncrypto_generateSelfSignCertificate(static_cast<unsigned short>(days), _HASH_ALGO(algorithm),
                                                        &subject, &key, &certificate),
                  0);
        return Owned<X509>(certificate);
    };
    std::set<std::string> serials;
    const int digests[] = {NID_sha512, NID_sha256, NID_sha512, NID_sha1, NID_sha512, NID_sha512};
    for (int row = 0; row < 12; ++row) {
        EVP_PKEY* const key = keyOf(row % 2 == 0 ? "RSA-2048" : "P-256");
        takeLog();
        const time_t before = time(nullptr) - 1;
        const Owned<X509> made = make(365, row / 2, key);
        const time_t after = time(nullptr);
        EXPECT_TRUE(logged("2" + keyTag, {"2" + keyTag + "generateSelfSignCertificate: Using [" +
                                          std::to_string(row / 2) + "] algorithm for digest"}));
        int digest = 0;
        X509_get_signature_info(made.get(), &digest, nullptr, nullptr, nullptr);
        EXPECT_EQ(digest, digests[row / 2]) << row;
        EXPECT_EQ(X509_verify(made.get(), key), 1);
        EXPECT_EQ(X509_get_version(made.get()), X509_VERSION_3);
        EXPECT_EQ(X509_get_ext_count(made.get()), 0);
        EXPECT_EQ(rfc2253(X509_get_subject_name(made.get())), "OU=h\\C3\\A9,CN=host"); // without the country
        EXPECT_EQ(der(X509_get_subject_name(made.get())), der(X509_get_issuer_name(made.get())));
        const Owned<BIGNUM> number(ASN1_INTEGER_to_BN(X509_get0_serialNumber(made.get()), nullptr));
        EXPECT_TRUE(BN_num_bits(number.get()) == 64 && BN_is_negative(number.get()) == 0);
        EXPECT_TRUE(serials.insert(X509Certificate(made.get(), false).getSerialNumber()).second);
        EXPECT_TRUE(ASN1_TIME_cmp_time_t(X509_get0_notBefore(made.get()), before) > 0 &&
                    ASN1_TIME_cmp_time_t(X509_get0_notBefore(made.get()), after) <= 0);
    }
    for (const auto& [days, seconds] : std::map<unsigned, int64_t>{
             {0, 0}, {1, 86400}, {24855, 2147472000}, {24856, -2147408896}, {65535, 1367256704}}) {
        const Owned<X509> made = make(days, 1, keyOf("P-256"));
        int wholeDays = 0;
        int rest = 0;
        ASN1_TIME_diff(&wholeDays, &rest, X509_get0_notBefore(made.get()), X509_get0_notAfter(made.get()));
        EXPECT_LE(std::abs(int64_t{wholeDays} * 86400 + rest - seconds), 1) << days;
    }
}

TEST(SelfSigned, FailureReleasesTheKey) {
    captureLog();
    const struct {
        EVP_PKEY* key;
        subTokenValuePair* subject;
        int code;
        std::string reason;
    } rows[] = {{keyOf("P-256"), nullptr, 114, "Filed name value pair is null."},
                {nullptr, &subject, 14, "Failed to set key with error *"},
                {keyOf("ED25519"), &subject, 14, "Failed to sign certificate using key, with error Error - (*"},
                {keyOf("RSA-512"), &subject, 14, "Failed to sign certificate using key, with error Error - (*"}};
    const std::string failed = "Failed to generate certificate.";
    for (const auto& row : rows) {
        X509* certificate = reinterpret_cast<X509*>(1);
        EVP_PKEY* key = row.key == nullptr ? nullptr : EVP_PKEY_dup(row.key); // the leak check sees whether it goes
        fails("X509PrivateKey::generateSelfSignCertificate",
              {{[&] {
                    X509PrivateKey::generateSelfSignCertificate(1, HASH_ALGO_SHA512, row.subject, &key, &certificate);
                },
                std::to_string(row.code) + " " + failed,
                {row.reason, failed}}});
        EXPECT_TRUE(key == nullptr && certificate == nullptr);
    }
    EVP_PKEY* key = keyOf("P-256");
    EVP_PKEY_up_ref(key);
    X509* certificate = nullptr;
    EXPECT_EQ(cmncrypto_generateSelfSignCertificate(1, HASH_ALGO_SHA1, nullptr, &key, &certificate), 114);
    EXPECT_GT(EVP_PKEY_get_bits(keyOf("P-256")), 0); // only the call's own reference went
    EXPECT_EQ(cmncrypto_generateSelfSignCertificate(1, HASH_ALGO_SHA1, &subject, nullptr, &certificate), 20);
    key = EVP_PKEY_dup(keyOf("P-256"));
    EXPECT_EQ(cmncrypto_generateSelfSignCertificate(1, HASH_ALGO_SHA1, &subject, &key, nullptr), 20);
    EXPECT_EQ(key, nullptr);
}

} // namespace
