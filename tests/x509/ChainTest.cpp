#include <filesystem>

#include "testlib/Pki.h"
#include "testlib/Platform.h"
#include "testlib/Testlib.h"

namespace {

const std::string chainTag = " - X509CertChain::";

std::string kindsOf(const X509CertChain& chain) {
    std::string kinds;
    for (auto at = chain.getCertChainBegin(); at != chain.getCertChainEnd(); ++at) {
        kinds += kindOf(X509_get0_pubkey((*at)->getX509())) + " ";
    }
    return kinds;
}

std::string kindOfCopy(X509Certificate* copy) {
    return kindOf(X509_get0_pubkey(std::unique_ptr<X509Certificate>(copy)->getX509()));
}

TEST(Chain, HandsOutCopies) {
    captureLog();
    const std::string text = pemOf("cert:RSA-2048+cert:P-256+cert:P-384");
    const X509CertChain chain(text, INIT_TYPE_BLOB);
    takeLog();
    EXPECT_EQ(kindOfCopy(chain.getCert(1)) + kindOfCopy(chain.getLeafCert()) + kindOfCopy(chain.getRootCert()),
              "P-256RSA-2048P-384");
    const std::string got = "2" + chainTag + "getCert: Successfully extracted certificate from pos = ";
    EXPECT_TRUE(logged("2" + chainTag, {got + "#", got + "#", got + "#"}));
    EXPECT_EQ(chain.getPemString(), text);
    const Owned<STACK_OF(X509)> stack(chain.getX509CertificateStack());
    X509CertChain fromStack(stack.get());
    fromStack.addCertToCertChain(X509Certificate(sk_X509_value(stack.get(), 1), false));
    EXPECT_EQ(kindsOf(fromStack), "RSA-2048 P-256 P-384 P-256 ");
    EXPECT_EQ(fromStack.getCertChainLength(), 4u);
    X509CertChain empty;
    const std::string range = "5949 Either certificate chain is empty or requested position is out of range";
    fails("X509CertChain::getCert", {{[&] { fromStack.getCert(4); }, range},
                                     {[&] { fromStack.getCert(SIZE_MAX); }, range},
                                     {[&] { empty.getLeafCert(); }, range},
                                     {[&] { empty.getRootCert(); }, range}});
    EXPECT_EQ(thrown([&] { empty.addCertToCertChain(X509Certificate(nullptr, false)); }).substr(0, 3), "10 ");
    takeLog();
    EXPECT_EQ(empty.getX509CertificateStack(), nullptr);
    EXPECT_EQ(empty.getPemString() + kindsOf(empty), "");
    EXPECT_TRUE(logged({"8" + chainTag + "getX509CertificateStack(): Certificate chain is empty so returning NULL",
                        "8" + chainTag + "getPemString: Certificate chain is empty so returning empty string."}));
}

TEST(Chain, CopiesAreShallow) {
    const X509CertChain owner(pemOf("cert:RSA-2048+cert:P-256"), INIT_TYPE_BLOB);
    X509CertChain assigned;
    X509CertChain constructed(owner);
    assigned = owner;
    assigned = *&assigned; // itself
    for (X509CertChain* copy : {&assigned, &constructed}) {
        EXPECT_TRUE(std::equal(owner.getCertChainBegin(), owner.getCertChainEnd(), copy->getCertChainBegin()));
        *copy = X509CertChain(); // gives its pointers up, so that only the owner deletes
    }
    EXPECT_EQ(kindsOf(owner), "RSA-2048 P-256 ");
}

TEST(Chain, SavedButNeverOver) {
    captureLog();
    const Folder folder;
    const std::string text = pemOf("cert:RSA-2048+cert:P-256");
    const X509CertChain chain(text, INIT_TYPE_BLOB);
    const auto save = [&](const std::string& name) { return [&, name] { chain.saveToFile(folder.path(name)); }; };
    occupy(folder.path("dangling"));
    const std::string exists = "5967 Specified certificate file already exists";
    fails("X509CertChain::saveToFile",
          {{save("new"), ""},
           {save("new"), exists, {"File path [" + folder.path("new") + "] already exists"}},
           {save("dangling"), exists, {"File path [" + folder.path("dangling") + "] already exists"}},
           {save("%s/file"), "12 Failed to open cert file", {"Failed to open cert file " + folder.path("%s/file")}},
           {[&] { X509CertChain().saveToFile(folder.path("none")); },
            "5949 Certificate chain is empty",
            {"No certificate in chain to write"}}});
    EXPECT_EQ(contentOf(folder.path("new")), text);
    EXPECT_FALSE(std::filesystem::exists(folder.path("none")) ||
                 std::filesystem::exists(folder.path("dangling-target")));
}

} // namespace
