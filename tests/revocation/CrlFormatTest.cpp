// Lists in files and buffers of every sort: what is found must be what OpenSSL finds in the same bytes.

#include <thread>

#include <openssl/err.h>

#include "revocation/ListLog.h"
#include "testlib/Pki.h"
#include "testlib/Platform.h"
#include "testlib/Testlib.h"

namespace {

int refuse(char*, int, int, void*) {
    return -1;
}

Owned<BIO> bufferOf(const std::string& bytes) {
    Owned<BIO> bio(BIO_new(BIO_s_mem()));
    BIO_write(bio.get(), bytes.data(), static_cast<int>(bytes.size()));
    return bio;
}

/** The format and the list in DER that OpenSSL finds. */
std::string expectedIn(const std::function<Owned<BIO>()>& open) {
    Owned<X509_CRL> list(d2i_X509_CRL_bio(open().get(), nullptr));
    const std::string format = list ? "2" : "1";
    if (!list) {
        list.reset(PEM_read_bio_X509_CRL(open().get(), nullptr, refuse, nullptr));
    }
    ERR_clear_error();
    return list ? format + der(list.get()) : "0";
}

/** The format and the list that the library finds. @param failure the code of what cannot be read at all */
template <class Source> std::string foundIn(const Source& source, int failure = 0) {
    CrlFormat format = CrlFormat(7);
    X509_CRL* out = reinterpret_cast<X509_CRL*>(1);
    EXPECT_EQ(CrlUtil::getCrlFormat(source, format), failure);
    const int read = CrlUtil::getX509Crl(source, &out);
    const Owned<X509_CRL> list(out);
    EXPECT_EQ(read, list ? 0 : failure == 0 ? 7654 : failure);
    EXPECT_EQ(ERR_peek_error(), 0u);
    return std::to_string(format) + (list ? der(list.get()) : "");
}

const std::string& inPem() {
    static const std::string kept =
        pem(makeList("P-256", [](X509_CRL* list) { revoke(list, "1:0a0101+ff+2@other+3+4+5+6"); }).get());
    return kept;
}

const std::string& inDer() {
    static const std::string kept = der(Crl(inPem()).getX509Crl());
    return kept;
}

/** Bytes in the notation of list-bytes.txt. */
std::string bytesFrom(const std::string& text) {
    const size_t begin = text.find_first_of("[{");
    if (begin == std::string::npos) {
        return unescaped(text);
    }
    const size_t end = text.find_first_of("]}");
    const std::string word = text.substr(begin + 1, end - begin - 1);
    return unescaped(text.substr(0, begin)) +
           (text[begin] == '[' ? pemOf(word)
            : word == "der"    ? inDer()
            : word == "pem"    ? inPem()
            : word == "len"    ? inDer().substr(2, 2)
                               : inDer().substr(4)) +
           bytesFrom(text.substr(end + 1));
}

TEST(CrlFormat, HostileBytes) {
    const PassPhraseOnInput input;
    const Folder folder;
    size_t found = 0;
    const auto check = [&](const std::string& bytes, const std::string& name) {
        const std::string path = folder.write("file", bytes);
        const std::string expected = expectedIn([&] { return Owned<BIO>(BIO_new_file(path.c_str(), "rb")); });
        EXPECT_EQ(foundIn(path), expected) << name;
        EXPECT_EQ(foundIn(bufferOf(bytes).get(), bytes.empty() ? 13 : 0), expectedIn([&] { return bufferOf(bytes); }))
            << name;
        Crl crl;
        EXPECT_EQ(thrown([&] { crl.loadFromPath(path); }).empty(), expected != "0") << name;
        EXPECT_EQ(std::string(crl.getDerCrl().begin(), crl.getDerCrl().end()), expected.substr(1)) << name;
        found += expected == "0" ? 0 : 1;
    };
    for (const auto& row : readRows("list-bytes.txt")) {
        check(bytesFrom(row[0]), row[0]);
    }
    EXPECT_GT(found, 15u);
    for (size_t size = 0; size < 100000; size += size < 150 ? 1 : 7919) { // around the buffers of a reader
        const auto change = [&](X509_CRL* list) {
            X509_CRL_add_ext(list, makeExtension(NID_netscape_comment, std::string(size, 'x')).get(), -1);
        };
        check(der(makeList("ED25519", change).get()) + "x", std::to_string(size));
    }
    for (const std::string& whole : {inDer(), inPem()}) {
        for (size_t length = 1; length < whole.size(); length += whole == inDer() ? 1 : 3) {
            check(whole.substr(0, length), "cut at " + std::to_string(length));
        }
    }
    for (int value = 0; value < 256; ++value) { // of the length
        std::string bytes = inDer();
        bytes[1] = static_cast<char>(value);
        check(bytes, std::to_string(value));
    }
    EXPECT_FALSE(input.asked());
}

TEST(CrlFormat, BuffersAreNotConsumed) {
    const Folder folder;
    for (const std::string& bytes : {inDer(), inPem()}) {
        const auto buffer = bufferOf("read" + bytes);
        std::string rest(bytes.size() + 1, '\0');
        BIO_read(buffer.get(), rest.data(), 4);
        EXPECT_EQ(foundIn(buffer.get()), expectedIn([&] { return bufferOf(bytes); }));
        EXPECT_EQ(BIO_read(buffer.get(), rest.data(), static_cast<int>(rest.size())), static_cast<int>(bytes.size()));
        EXPECT_EQ(rest, bytes + '\0');
        EXPECT_EQ(foundIn(buffer.get(), 13), "0"); // nothing is left
    }
    EXPECT_EQ(foundIn(Owned<BIO>(BIO_new_file(folder.write("file", inDer()).c_str(), "r")).get(), 13), "0");
    EXPECT_EQ(foundIn(Owned<BIO>(BIO_new(BIO_s_null())).get(), 13), "0");
}

TEST(CrlFormat, LogTexts) {
    captureLog();
    const Folder folder;
    for (const auto& [name, bytes] :
         {std::pair<std::string, std::string>{"der", inDer()}, {"pem", inPem()}, {"text", "x"}}) {
        const std::string path = folder.write("file", bytes);
        takeLog();
        foundIn(path);
        EXPECT_TRUE(loggedAs("file-" + name));
        foundIn(bufferOf(bytes).get());
        EXPECT_TRUE(loggedAs("buffer-" + name));
    }
    foundIn(bufferOf("").get(), 13);
    EXPECT_TRUE(loggedAs("buffer-empty"));
    foundIn(static_cast<BIO*>(nullptr), 20);
    EXPECT_TRUE(loggedAs("buffer-null"));
    const std::string text = "9308 Failed to get X509 CRL from file path";
    Crl crl(inPem());
    for (const std::string& path : {folder.path("%s%n"), folder.path("file/file"), std::string()}) {
        EXPECT_EQ(thrown([&] { crl.loadFromPath(path); }), text);
        takeLog();
        foundIn(path, 13);
        EXPECT_TRUE(loggedAs("file-missing"));
    }
    for (const std::string& path :
         {foldersOpen ? folder.path("") : emptyDevice, std::string(emptyDevice)}) { // they open
        foundIn(path);
        takeLog();
        EXPECT_EQ(thrown([&] { crl.loadFromPath(path); }), text);
        EXPECT_TRUE(failuresLogged({"16 - CrlUtil::getX509Crl: Unknown CRL format", "16 - Crl::loadFromPath: *"}));
    }
    EXPECT_EQ(crl.getPemCrl() + der(crl.getX509Crl()), inPem() + inDer()); // as it was
    EXPECT_EQ(CrlUtil::getX509Crl(std::string(), nullptr) + CrlUtil::getX509Crl(static_cast<BIO*>(nullptr), nullptr),
              40);
    EXPECT_TRUE(loggedAs("no-output"));
}

TEST(CrlFormat, PipesAreReadOnce) {
    const Folder folder;
    Pipe pipe(folder.path("fifo"));
    const std::string& fifo = pipe.path;
    for (const std::string& bytes :
         {inDer(), inPem(), inDer() + std::string(200000, 'x'), std::string("x"), std::string()}) {
        const std::string expected = expectedIn([&] { return bufferOf(bytes); });
        CrlFormat format = CrlFormat(7);
        X509_CRL* out = nullptr;
        for (const std::function<void()>& read : std::vector<std::function<void()>>{
                 [&] { EXPECT_EQ(CrlUtil::getCrlFormat(fifo, format), 0); },
                 [&] { EXPECT_EQ(CrlUtil::getX509Crl(fifo, &out), expected == "0" ? 7654 : 0); },
                 [&] { EXPECT_EQ(thrown([&] { Crl().loadFromPath(fifo); }).empty(), expected != "0"); }}) {
            std::thread writer([&] { pipe.write(bytes); });
            read();
            writer.join();
        }
        const Owned<X509_CRL> list(out);
        EXPECT_EQ(std::to_string(format) + (list ? der(list.get()) : ""), expected);
    }
}

} // namespace
