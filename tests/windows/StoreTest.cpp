#include "windows/Machine.h"

namespace {

using namespace std::string_literals;
using Names = std::set<std::string>;
constexpr auto refused = [](HRESULT number) { return static_cast<uint32_t>(number); };

TEST(WindowsStore, Selection) {
    MachineBench bench;
    situations::checksInTheirOrder(bench);
    situations::choices(bench);
}

TEST(WindowsStore, NamesUsagesAndDates) {
    const MachineBench bench;
    ASSERT_EQ(GetACP(), 1252U); // in which the last of these characters is not
    const auto wrap = [&](X509* certificate) { return bench.wrap(certificate); };
    const std::string most = "\"\xc3\xa9\xe2\x82\xac??\"";
    situations::namesAndUsages(
        wrap, {{"CN=a%20", "a "}, {"CN=%c3%a9%e2%82%ac%f0%9f%99%82", most}, {"CN:28=%00%01%f6%42", ""}});
    situations::dates(wrap);
}

TEST(WindowsStore, FindsAddsAndRemoves) {
    MachineBench bench;
    Machine& machine = *bench.machine;
    bench.make("MY\xe9"); // as the system's narrow call takes it
    const std::string store = "MY\xc3\xa9", cyrillic = "\xd0\x96";
    std::vector<Owned<X509>> made;
    for (const std::string name : {"O=Example,CN=one.host", "CN=Two.HOST", "CN=caf%c3%a9", "CN=%d0%96"}) {
        const auto change = [&](X509* own) { X509_set_subject_name(own, nameFrom(name).get()); };
        bench.put(store, made.emplace_back(makeCertificate("P-256", change)).get(), false);
    }
    const auto found = [&](const std::string& text) {
        Names names;
        bench.with(store, true, [&](auto opened) {
            CertContext at = nullptr;
            std::string name;
            while ((at = machine.findBySubject(opened, text, at)) != nullptr) {
                names.insert(machine.name(at, CertName::subject, name) == 0 ? name : "nothing");
            }
        });
        return names;
    };
    EXPECT_EQ(found("hOsT"), (Names{"Example, one.host", "Two.HOST"}));
    EXPECT_EQ(found("example, ONE"), Names{"Example, one.host"});
    EXPECT_TRUE(found("caf\xc3\xa9") == Names{"caf\xc3\xa9"} && found("caf\xe9") == Names{"caf\xc3\xa9"});
    EXPECT_TRUE(found("hosts").empty() && found(cyrillic).empty());
    for (const Owned<X509>& certificate : made) {
        unsigned char digest[20];
        X509_digest(certificate.get(), EVP_sha1(), digest, nullptr);
        const std::string digits = toHex(std::string(digest, digest + 20));
        WinCertStoreCertificate own;
        std::string text;
        uint32_t size = 19;
        EXPECT_EQ(CertificateSelector(store, {}).FindCertInStore(digits, own), 0);
        EXPECT_EQ(X509_cmp(Owned<X509>(own.GetX509()).get(), certificate.get()), 0); // its store is closed
        EXPECT_TRUE(own.GetFingerprint(text) == 0 && toHex(fromHex(text)) == digits && own.DoesPrivateKeyExist() == 0);
        EXPECT_TRUE(machine.property(own.GetContext(), 3, digest, size) == ERROR_MORE_DATA && size == 20);
        const auto add = [&](CertStoreHandle to, uint32_t how) {
            return machine.addToStore(to, own.GetContext(), how);
        };
        bench.with(store, true, [&](auto to) { EXPECT_EQ(add(to, 4), refused(E_ACCESSDENIED)); });
        bench.with(store, false, [&](auto to) {
            EXPECT_TRUE(add(to, 1) == refused(CRYPT_E_EXISTS) && add(to, 77) == refused(E_INVALIDARG));
            EXPECT_EQ(add(to, 2) + add(to, 3), 0U);
            const CertContext at = machine.findByHash(to, digest, nullptr);
            EXPECT_EQ(machine.findByHash(to, digest, machine.duplicate(at)), nullptr);
            EXPECT_EQ(machine.removeFromStore(at), 0U);
        });
        EXPECT_EQ(CertificateSelector(store, {}).FindCertInStore(digits, own), 158);
    }
    bench.make("MY?");
    bench.make("MYA");
    for (const std::string& none : {"no" + store, "MY" + cyrillic, "MY\xc4\x80"s}) { // "A" fits the last one best

        EXPECT_EQ(bench.with(none, false, [](auto) { ADD_FAILURE(); }), uint32_t{ERROR_FILE_NOT_FOUND});
    }
}

TEST(WindowsStore, ContextsNamesOfTheMachineDigitsAndErrors) {
    const MachineBench bench;
    const Owned<X509> certificate = makeCertificate();
    const WinCertStoreCertificate one = bench.wrap(certificate.get()), two = bench.wrap(certificate.get()), copy(one);
    EXPECT_TRUE(one == copy && !(one == two) && (one < two) != (two < one) && one.GetContext() == copy.GetContext());
    CertContext context = nullptr;
    EXPECT_EQ(bench.machine->createContext(bytes("0"), 1, context), refused(CRYPT_E_ASN1_CORRUPT));
    for (const auto& [type, format] :
         {std::pair{HOSTNAME_SHORT, ComputerNameDnsHostname}, {HOSTNAME_FQDN, ComputerNameDnsFullyQualified}}) {
        wchar_t name[256];
        DWORD size = 256;
        GetComputerNameExW(format, name, &size);
        EXPECT_EQ(CertificateSelector::GetHostName(type), std::string(name, name + size));
        EXPECT_EQ(bench.machine->computerName(type, std::string(256, '0').data(), size), uint32_t{ERROR_MORE_DATA});
    }
    for (const std::string digits : {"00", "0aFf", "0123456789abcdefABCDEF", "!", "!0", "!0ax", "!0g"}) {
        std::vector<unsigned char> to;
        const bool isNone = digits[0] == '!';
        EXPECT_EQ(bench.machine->hexToBinary(digits.substr(isNone ? 1 : 0), to) != 0, isNone) << digits;
        EXPECT_EQ(std::string(to.begin(), to.end()), isNone ? "" : fromHex(digits)) << digits;
    }
    const std::string text = bench.machine->errorText(2);
    EXPECT_TRUE(text.find('\n') == std::string::npos && text.back() == '.');
    EXPECT_EQ(bench.machine->errorText(0xE0001234), "Windows error 3758101044.");
}

/** Deletes the machine's default container of keys, into which Wine imports. @return whether it was there */
bool deleteKey() {
    HCRYPTPROV none = 0;
    return CryptAcquireContextW(&none, nullptr, nullptr, PROV_RSA_FULL, CRYPT_DELETEKEYSET | CRYPT_MACHINE_KEYSET) != 0;
}

TEST(WindowsStore, ImportedBundles) {
    const auto rename = [](auto change) { return [=](X509* one) { change(one, nameFrom("CN=ca").get()); }; };
    const Owned<X509> leaf = makeCertificate("RSA-2048", rename(X509_set_issuer_name));
    const Owned<X509> issuer =
        makeCertificate("P-256", rename(X509_set_subject_name)); // Wine takes the key for its own
    const Owned<STACK_OF(X509)> all(sk_X509_new_null());
    X509_add_cert(all.get(), issuer.get(), X509_ADD_FLAG_UP_REF);
    for (const auto& [is, expected] : std::map<std::string, Names>{{"new", {"ca, key", "host"}},
                                                                   {"there", {"ca, known, key", "host"}},
                                                                   {"kept", {"ca, known, key"}},
                                                                   {"locked", {}}}) {
        const Owned<PKCS12> made(PKCS12_create("secret", "", keyOf("RSA-2048"), leaf.get(),
                                               is == "locked" ? nullptr : all.get(), 0, 0, 0, 0, 0));
        const std::string bundle = written([&](BIO* out) { return i2d_PKCS12_bio(out, made.get()); });
        MachineBench bench;
        bench.make("MY");
        if (is[0] == 't' || is[0] == 'k') {
            bench.put("MY", issuer.get(), is[0] == 'k' ? L"kept" : nullptr);
        }
        deleteKey();
        bench.with("MY", is.find("locked") < is.size(), [&, &is = is, &expected = expected](auto store) {
            CertContext at = nullptr;
            EXPECT_EQ(bench.machine->importBundle(store, bytes(bundle), bundle.size(), "secret", false, at),
                      is == "locked" ? refused(E_ACCESSDENIED) : 0);
            bench.machine->release(at);
            Names found;
            for (at = nullptr; (at = bench.machine->findBySubject(store, "", at)) != nullptr;) {
                std::string name;
                uint32_t size = bench.machine->name(at, CertName::subject, name);
                name += bench.machine->property(at, CERT_FRIENDLY_NAME_PROP_ID, nullptr, size) == 0 ? ", known" : "";
                found.insert(name +
                             (bench.machine->property(at, certKeySpecProperty, nullptr, size) == 0 ? ", key" : ""));
            }
            EXPECT_EQ(found, expected);
        });
        EXPECT_EQ(deleteKey(), is == "new" || is == "there") << is;
    }
}

TEST(WindowsStore, NamesOfHosts) {
    const MachineBench bench;
    const std::string names = tlv(0x30, tlv(0x82, "a.host") + tlv(0x87, fromHex("0a000001")));
    const auto name = [&](X509* made) { X509_add_ext(made, makeExtension(NID_subject_alt_name, names).get(), -1); };
    const WinCertStoreCertificate own = bench.wrap(makeCertificate("RSA-2048", name).get());
    const HCERTSTORE root = CertOpenStore(CERT_STORE_PROV_SYSTEM_A, 0, 0, CERT_SYSTEM_STORE_LOCAL_MACHINE, "Root");
    EXPECT_EQ(bench.machine->addToStore(root, own.GetContext(), 4), 0U);
    CertControlStore(root, 0, CERT_STORE_CTRL_COMMIT, nullptr);
    for (const std::string host :
         {"", "a.host", "A.Host.", "10.0.0.1", "!.host", "!.", "!host", "!a.host..", "!10.0.0.2"}) {
        for (const bool isServer : {false, true}) {
            const CertChainPolicy policy{isServer, host.substr(host[0] == '!' ? 1 : 0)};
            const uint32_t error = host[0] == '!' ? refused(CERT_E_CN_NO_MATCH) : 0;
            EXPECT_EQ(bench.machine->verifyChain(own.GetContext(), policy), error) << host << isServer;
        }
    }
    CertDeleteCertificateFromStore(
        CertFindCertificateInStore(root, 1, 0, CERT_FIND_EXISTING, own.GetContext(), nullptr));
    CertCloseStore(root, 0);
}

} // namespace
