// Servers from files, and contexts that are filled from files.

#include "cmncrypto/WinCertStoreOpenSSLHelper.h"
#include "testlib/Platform.h"
#include "testlib/Testlib.h"
#include "testlib/TlsPeer.h"

namespace {

using Lines = std::vector<std::string>;

class FromFiles : public testing::Test {
protected:
    FromFiles() {
        captureLog();
        for (const Lines& row : blankRows("tls-files.txt")) {
            if (row[0] == "file") {
                folder.write(row[1], row[2][0] == '=' ? unescaped(row[2].substr(1)) : pemOf(row[2]));
            }
        }
    }
    std::string path(const std::string& name) const {
        return name.empty() ? "" : name[0] == '=' ? name.substr(1) : folder.path(name);
    }

    /** @param names of the files as in the rows @return what it throws */
    std::string init(const Lines& names, int loadCa = 0) {
        const std::string paths[] = {path(names[0]), path(names[1]), path(names[2]), path(names[3])};
        const CertInfoPath info = {paths[0].c_str(), paths[1].c_str(), paths[2].c_str(), paths[3].c_str()};
        SSL* made = nullptr;
        takeLog();
        queueHostError();
        const std::string result = thrown([&] { operations.tlsInitMaster(&info, "DEFAULT", loadCa, &made); });
        server.reset(made);
        EXPECT_EQ(server == nullptr, !result.empty());
        return result;
    }

    /** The certificates that a client is sent, as PEM. */
    static std::string sentBy(Owned<SSL> ssl) {
        Talk talk(false, std::move(ssl));
        EXPECT_EQ(talk.shakeHands(), "0");
        std::string all;
        const STACK_OF(X509)* chain = SSL_get_peer_cert_chain(talk.client.get());
        for (int i = 0; i < sk_X509_num(chain); ++i) {
            all += pem(sk_X509_value(chain, i));
        }
        return all;
    }

    const Folder folder;
    TLSOperations operations{CTX_INIT_MASTER};
    Owned<SSL> server;
};

TEST_F(FromFiles, EachRow) {
    for (const Lines& row : blankRows("tls-files.txt")) {
        const bool isFile = row.size() > 1 && row[1][0] != '=' && row[1].find('\\') != std::string::npos;
        if (row.size() < 6 || row[0] == "file" || row[0] == "helper" || (isFile && !posixNames)) {
            continue;
        }
        SCOPED_TRACE(testing::PrintToString(row));
        Lines lines;
        for (size_t i = 6; i < row.size(); ++i) {
            lines.push_back("16 - " + row[i]);
        }
        const bool isGood = row[5] == "0";
        lines.emplace_back(isGood ? "2 - tls_ctx_init_master: TLS context initialization completed successfully"
                                  : "16 - tlsInitMaster: Error: INIT of Context failed");
        EXPECT_EQ(init(row, std::stoi(row[4])), isGood ? "" : row[5] + " INIT of Context failed");
        EXPECT_TRUE(logged(isGood ? "2 - tls" : "16 - ", lines));
        EXPECT_TRUE(!isGood || !sentBy(std::move(server)).empty());
    }
}

TEST_F(FromFiles, LongPassPhrases) {
    for (const int length : {1, 1022, 1023, 1024}) {
        const std::string phrase(static_cast<size_t>(length), 'x');
        folder.write("phrase", phrase + "\n");
        for (const auto write : {PEM_write_bio_PrivateKey, PEM_write_bio_PrivateKey_traditional}) {
            folder.write("locked", written([&](BIO* out) {
                             return write(out, keyOf("RSA-2048"), EVP_aes_128_cbc(), bytes(phrase), length, nullptr,
                                          nullptr);
                         }));
            EXPECT_EQ(init({"", "leaf", "locked", "phrase"}), length < 1024 ? "" : "13 INIT of Context failed");
        }
    }
}

TEST_F(FromFiles, ChainsAreSentInOrder) {
    for (const std::string name : {"leaf", "chain", "ec", "chain", "leaf"}) {
        EXPECT_EQ(init({"ca", name, name == "ec" ? "eckey" : "key", ""}, 1), "");
        EXPECT_EQ(sentBy(std::move(server)), contentOf(path(name))) << name;
    }
}

TEST_F(FromFiles, StoreThatFails) {
    using namespace WinCertStore;
    const std::list<std::shared_ptr<CertificateFilter>> none;
    setCertStorePlatform(std::make_shared<SoftwareCertStore>("")); // not the system's, whatever that is
    operations.setWinCertStoreOpenSSLHelper(std::make_shared<WinCertStoreOpenSSLHelper>("", nullptr, none));
    EXPECT_EQ(init({"", "leaf", "key", ""}), "");
    EXPECT_EQ(init({"", "=My\\subject\\nobody", "", ""}), "8772 INIT of Context failed");
    EXPECT_TRUE(logged("16 - tls", {"16 - tls_ctx_init_master: TLS context initialization for Windows certstore failed",
                                    "16 - tlsInitMaster: Error: INIT of Context failed"}));
    EXPECT_EQ(init({"", "leaf", "key", ""}), "20 INIT of Context failed");
}

Lines told;
void tell(const char* function, const char* message) {
    told.push_back(std::string(function) + ": " + message);
}

int run(const Lines& row, const std::string& file, cmncrypto_cert_log_cb logger, SSL_CTX* context) {
    queueHostError();
    return row[1] == "ca"       ? SSLCTXHelper::set_ca_cert_in_ssl_context(file, logger, context)
           : row[1] == "cert"   ? SSLCTXHelper::set_cert_chain_in_ssl_context(file, logger, context)
           : row[1] == "key"    ? SSLCTXHelper::set_private_key_in_ssl_context(file, row[3], logger, context)
           : row[1] == "ca_c"   ? set_ca_cert_in_ssl_context_c(file.c_str(), logger, context)
           : row[1] == "cert_c" ? set_cert_chain_in_ssl_context_c(file.c_str(), logger, context)
                                : set_private_key_in_ssl_context_c(file.c_str(), row[3].c_str(), logger, context);
}

TEST_F(FromFiles, Helper) {
    for (Lines row : blankRows("tls-files.txt")) {
        for (const auto logger : {&tell, static_cast<decltype(&tell)>(nullptr), &tell}) {
            if (row[0] == "helper") {
                SCOPED_TRACE(testing::PrintToString(row));
                const Owned<SSL_CTX> context(row[4] == "none" ? nullptr : SSL_CTX_new(TLS_server_method()));
                for (const std::string& chain : {std::string("ec"), row[4]}) { // the first one of another kind
                    EXPECT_EQ(!context || row[4].empty() ? 0 : run({"", "cert"}, path(chain), nullptr, context.get()),
                              0);
                }
                told.clear();
                EXPECT_EQ(run(row, path(row[2]), logger, context.get()), std::stoi(row[5]));
                EXPECT_EQ(told.size(), row[5] == "0" || logger == nullptr ? 0U : 1U) << testing::PrintToString(told);
                row[1] += logger == nullptr ? "_c" : ""; // the flat function from then on
            }
        }
    }
    const Owned<SSL_CTX> context(SSL_CTX_new(TLS_server_method()));
    EXPECT_EQ(run({"", "ca"}, path("ca"), nullptr, context.get()) + run({"", "ca"}, path("ca"), nullptr, context.get()),
              0);
    EXPECT_EQ(sk_X509_NAME_num(SSL_CTX_get_client_CA_list(context.get())), 1) << "all are of one name";
    EXPECT_EQ(sk_X509_OBJECT_num(X509_STORE_get0_objects(SSL_CTX_get_cert_store(context.get()))), 2);
    EXPECT_EQ(set_ca_cert_in_ssl_context_c(nullptr, nullptr, context.get()), 20);
    EXPECT_EQ(set_cert_chain_in_ssl_context_c(nullptr, nullptr, context.get()), 20);
    EXPECT_EQ(set_private_key_in_ssl_context_c(nullptr, nullptr, nullptr, context.get()), 20);
    EXPECT_EQ(set_private_key_in_ssl_context_c(path("eckey").c_str(), nullptr, nullptr, context.get()), 0);
}

} // namespace
