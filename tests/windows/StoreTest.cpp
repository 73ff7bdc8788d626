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
        EXPECT_EQ(bench.machine->computerName(type, std::string(1, '0').data(), 1), uint32_t{ERROR_MORE_DATA});
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

} // namespace
