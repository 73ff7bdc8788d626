// Every reader of PEM texts and files over the same inputs.

#include <filesystem>
#include <thread>

#include "testlib/Pki.h"
#include "testlib/Platform.h"
#include "testlib/Testlib.h"

namespace {

using Factory = CertificatePrivateKeyFactory;

int timesTold = 0;
int asked = 0;

void countTold(const char*, const char*) {
    ++timesTold;
}

/** Answers with the text that its user data is; null: refuses. */
int answer(char* buffer, int size, int, void* text) {
    ++asked;
    const std::string phrase = text == nullptr ? "" : static_cast<const char*>(text);
    phrase.copy(buffer, static_cast<size_t>(size));
    return text == nullptr ? -1 : static_cast<int>(phrase.size()); // a long one is said to be longer than the buffer
}

std::string kindOfCertificate(const X509* certificate) {
    return testlib::kindOf(X509_get0_pubkey(certificate));
}

std::string kindsOf(const STACK_OF(X509)* certificates) {
    std::string kinds = kindOfCertificate(sk_X509_value(certificates, 0));
    for (int i = 1; i < sk_X509_num(certificates); ++i) {
        kinds += "," + kindOfCertificate(sk_X509_value(certificates, i));
    }
    return kinds;
}

/** What is found, or the code of what is thrown. */
std::string found(const std::function<std::string()>& operation) {
    std::string result;
    const std::string failure = thrown([&] { result = operation(); });
    return failure.empty() ? result : failure.substr(0, failure.find(' '));
}

/** As above, of a function that answers a code and hands an object out. */
template <class T> std::string foundBy(const std::function<int(T**)>& read, std::string (*kind)(const T*)) {
    T* out = reinterpret_cast<T*>(1);
    timesTold = 0;
    const int code = read(&out);
    const Owned<T> owner(out);
    EXPECT_EQ(out == nullptr, code != 0);
    EXPECT_EQ(timesTold, code == 0 ? 0 : 1); // one message per failure
    return code == 0 ? kind(out) : std::to_string(code);
}

std::string chainBy(const std::string& path) {
    return foundBy<STACK_OF(X509)>([&](auto out) { return generateX509Certificates_c(path.c_str(), countTold, out); },
                                   kindsOf);
}
std::string leafBy(const std::string& path) {
    return foundBy<X509>([&](auto out) { return generateX509LeafCertificate_c(path.c_str(), countTold, out); },
                         kindOfCertificate);
}
std::string keyBy(const std::string& path, pem_password_cb* callback, const char* phrase) {
    void* const data = const_cast<char*>(phrase);
    return foundBy<EVP_PKEY>([&](auto out) { return generateEVP_PKEY_c(path.c_str(), countTold, callback, data, out); },
                             testlib::kindOf);
}
std::string encryptedBy(const std::string& path) {
    int encrypted = 7;
    const int code = is_private_key_file_encrypted_c(path.c_str(), countTold, &encrypted);
    EXPECT_EQ(encrypted == 7, code != 0);
    return std::to_string(code == 0 ? encrypted : code);
}

void checkReaders(const std::string& file) {
    const PassPhraseOnInput input;
    const Folder folder;
    const std::string tooLong(2 * PEM_BUFSIZE, 'x');
    for (const auto& row : readRows(file)) {
        SCOPED_TRACE(row[0]);
        const std::string text = pemOf(row[0]);
        const std::string path = folder.write("file", text);
        const auto orCode = [](const std::string& kinds, const char* code) { return kinds[0] > '9' ? kinds : code; };
        EXPECT_EQ(found([&] { return kindOfCertificate(X509Certificate(text, _INIT_TYPE(5)).getX509()); }), row[1]);
        EXPECT_EQ(found([&] { return kindOfCertificate(X509Certificate(path, INIT_TYPE_PATH).getX509()); }), row[1]);
        const auto chain = [](const std::string& source, _INIT_TYPE type, bool leafOnly) {
            const Owned<STACK_OF(X509)> stack(X509CertChain(source, type, leafOnly).getX509CertificateStack());
            return kindsOf(stack.get());
        };
        EXPECT_EQ(found([&] { return chain(text, INIT_TYPE_BLOB, false); }), row[2]);
        EXPECT_EQ(found([&] { return chain(text, INIT_TYPE_BLOB, true); }), row[3]);
        EXPECT_EQ(found([&] { return chain(path, _INIT_TYPE(7), false); }), orCode(row[2], "13"));
        EXPECT_EQ(chainBy(path), orCode(row[2], "13"));
        EXPECT_EQ(leafBy(path), orCode(row[3], "13"));
        EXPECT_EQ(encryptedBy(path), row[4]);
        EXPECT_EQ(found([&] { return testlib::kindOf(X509PrivateKey(text, "secret").getEVPKey()); }), row[5]);
        const bool encrypted = row[4] == "1";
        for (const std::string& phrase : {std::string(), std::string("secret"), std::string("wrong"), tooLong}) {
            const bool right = !encrypted || phrase == "secret";
            const int status = X509PrivateKey::getPrivKeyStatus(text, phrase);
            if (row[5] != "-1") {
                EXPECT_EQ(status, !encrypted ? 0 : right ? 1 : phrase.empty() ? 5999 : -1);
            } else { // OpenSSL may ask for other blocks, too
                EXPECT_TRUE(status == -1 || (status == 5999 && phrase.empty()));
            }
            for (const char* given : {phrase.c_str(), static_cast<const char*>(nullptr)}) {
                const bool opens = right && (given != nullptr || !encrypted);
                asked = 0;
                EXPECT_EQ(keyBy(path, answer, given), opens ? orCode(row[5], "13") : "13");
                EXPECT_TRUE(row[5] == "-1" ? asked <= 1 : asked == (encrypted ? 1 : 0));
                EXPECT_EQ(keyBy(path, nullptr, given), opens ? orCode(row[5], "13") : "13");
            }
        }
        EXPECT_EQ(found([&] { return testlib::kindOf(X509PublicKey(text).getEVPKey()); }), row[6]);
    }
    EXPECT_FALSE(input.asked());
    EXPECT_EQ(OSSL_PROVIDER_available(nullptr, "legacy"), 0); // the process's own providers stay as they are
}

TEST(Pem, EveryReader) {
    checkReaders("pem.txt");
}

TEST(Pem, KeysOfOlderSystems) {
    if (legacyContext() == nullptr) {
        GTEST_SKIP() << "OpenSSL's legacy provider is not installed";
    }
    checkReaders("pem-legacy.txt");
}

TEST(Pem, FilesThatCannotBeRead) {
    captureLog();
    const Folder folder;
    std::filesystem::resize_file(folder.write("huge", pemOf("cert:P-256+pkcs8:P-256")), (64 << 20) + 1);
    const std::string odd = folder.path("%s%n%%d%");
    X509* leaf = nullptr;
    for (const auto& [file, code] :
         {std::pair(odd, 12), {folder.path(""), foldersOpen ? 13 : 12}, {folder.path("huge"), 13}}) {
        const std::string& path = file;
        const std::string text = std::to_string(code);
        const std::string codes = chainBy(path) + leafBy(path) + keyBy(path, nullptr, nullptr) + encryptedBy(path);
        EXPECT_EQ(codes, text + text + text + text);
        EXPECT_EQ(Factory::generateX509LeafCertificate(path, nullptr, &leaf), code);
        takeLog(); // the library's own logger shows the path as it is
        EXPECT_EQ(Factory::generateX509LeafCertificate(path, CmnApi::cert_util_logger, &leaf), code);
        EXPECT_TRUE(
            failuresLogged({"16 - CertificatePrivateKeyFactory::generateX509LeafCertificate: *[" + path + "]*"}));
        EXPECT_EQ(thrown([&] { X509CertChain(path, INIT_TYPE_PATH); }),
                  text + " Error in extracting certificates from certificate file path");
        takeLog();
        const std::string noKey = " Failed to read private key from file";
        EXPECT_EQ(thrown([&] { X509PrivateKey(path, nullptr, nullptr); }), text + noKey);
        EXPECT_TRUE(logged("16 - X509P", {"16 - X509PrivateKey::X509PrivateKey:" + noKey + ", with error " + text}));
    }
    const std::string none = "5900 Certificate does not comply to X509 standard or is not in PEM format.";
    const std::string notRead = "Failed to read x509 certificate from file [";
    fails("X509Certificate::readCertFromFile",
          {{[&] { X509Certificate(odd, INIT_TYPE_PATH); },
            "12 Failed to open certificate file",
            {"Failed to open certificate file [" + odd + "] for validation."}},
           {[&] { X509Certificate(folder.path(""), INIT_TYPE_PATH); },
            foldersOpen ? none : "12 Failed to open certificate file",
            {foldersOpen ? notRead + folder.path("") + "]."
                         : "Failed to open certificate file [" + folder.path("") + "] for validation."}},
           {[] { X509Certificate(emptyDevice, INIT_TYPE_PATH); }, none, {notRead + emptyDevice + "]."}}});
    STACK_OF(X509)* chain = nullptr;
    EVP_PKEY* key = nullptr;
    int encrypted = 0;
    EXPECT_EQ(Factory::generateX509Certificates(odd, countTold, nullptr), 20);
    EXPECT_EQ(Factory::generateX509LeafCertificate(odd, countTold, nullptr), 20);
    EXPECT_EQ(Factory::generateEVP_PKEY(odd, countTold, nullptr, nullptr, nullptr), 20);
    EXPECT_EQ(PrivateKeyUtils::is_private_key_file_encrypted(odd, countTold, nullptr), 20);
    EXPECT_EQ(generateX509Certificates_c(nullptr, countTold, &chain), 20);
    EXPECT_EQ(generateX509LeafCertificate_c(nullptr, countTold, &leaf), 20);
    EXPECT_EQ(generateEVP_PKEY_c(nullptr, countTold, nullptr, nullptr, &key), 20);
    EXPECT_EQ(is_private_key_file_encrypted_c(nullptr, countTold, &encrypted), 20);
}

TEST(Pem, PipesAreReadOnce) {
    const Folder folder;
    Pipe pipe(folder.path("fifo"));
    const std::string& path = pipe.path;
    const std::string text = pemOf("cert:P-256+old/AES-128-CBC:RSA-2048+cert:P-384");
    const std::pair<const char*, std::function<std::string()>> readers[] = {
        {"P-256,P-384", [&] { return chainBy(path); }},
        {"P-256", [&] { return leafBy(path); }},
        {"RSA-2048", [&] { return keyBy(path, nullptr, "secret"); }},
        {"1", [&] { return encryptedBy(path); }}};
    for (const auto& [expected, read] : readers) {
        std::thread writer([&] { pipe.write(text); });
        EXPECT_EQ(read(), expected);
        writer.join();
    }
}

TEST(Pem, RefusedTexts) {
    captureLog();
    const std::string none = "Could not read private key";
    const std::string noPhrase =
        "The private key of the external certificate is encrypted, but the passphrase is not specified";
    const std::string locked = pemOf("pkcs8/AES-256-CBC:P-256");
    fails("X509PrivateKey::getEVPPrivateKeyEncrypted",
          {{[&] { X509PrivateKey(locked, ""); }, "5999 " + noPhrase, {none, "openssl error - *", noPhrase}},
           {[&] { X509PrivateKey(locked, "wrong"); }, "-1 " + none, {none, "openssl error - *"}},
           {[&] { X509PrivateKey('\0' + locked, "secret"); }, "-1 " + none, {none, "openssl error - *"}}});
    const std::string noCertificate = "5900 Certificate does not comply to X509 standard";
    fails("X509Certificate::X509Certificate",
          {{[] { X509Certificate('\0' + pemOf("cert:P-256"), INIT_TYPE_BLOB); }, noCertificate},
           {[] { X509Certificate(static_cast<const X509*>(nullptr)); }, "36 Failed to allocate certificate object."}});
    fails("X509PublicKey::getEVPPublicKey", {{[&] { X509PublicKey{locked}; }, "-1 Could not read public key"}});
    const std::string badBlock = "PEM_X509_INFO_read_bio() failed to read certBio";
    const std::string noBlock = "Certificate(s) not found in input certs";
    fails("X509CertChain::initUsingBlob",
          {{[] { X509CertChain("", INIT_TYPE_BLOB); },
            "5900 Input certsBlob found empty",
            {"Error: Input certsBlob found empty with errorcode: 5900"}},
           {[] { X509CertChain("x", INIT_TYPE_BLOB); }, "-1 " + noBlock, {"Error: " + noBlock + " with errorcode: -1"}},
           {[] { X509CertChain(pemOf("bad/CERTIFICATE:"), INIT_TYPE_BLOB); },
            "13 " + badBlock,
            {"Error: " + badBlock + " with errorcode: 13"}}});
    const std::string noLeaf = "PEM_read_bio_X509_AUX() failed to read cert from certBio.";
    const std::string noText = "Input certChain found null.";
    fails("X509CertChain::getX509LeafCertFromBlob",
          {{[] { X509CertChain::getX509LeafCertFromBlob("x"); }, "36 " + noLeaf, {noLeaf + " with error Error - (*"}},
           {[] { X509CertChain::getX509LeafCertFromBlob(nullptr); }, "20 " + noText, {noText + "*"}}});
    const auto* const noStack = static_cast<const STACK_OF(X509)*>(nullptr);
    fails("X509CertChain::X509CertChain",
          {{[] { X509CertChain("", INIT_TYPE_PATH, true); }, "20 leafOnly option is not available for filepath input"},
           {[=] { X509CertChain{noStack}; }, "20 certChainInput is NULL for object constructor"}});
}

} // namespace
