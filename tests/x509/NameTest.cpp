#include <map>

#include "testlib/Pki.h"
#include "testlib/Testlib.h"

using namespace std::string_literals;

namespace {

const std::string host = "C=US,O=Org,CN=host";
const std::string manyCharacters(1100, 'x');

X509Name nameOf(const std::string& entries) {
    return X509Name(nameFrom(entries).get());
}

TEST(Name, TextAgreesWithOpenSsl) {
    for (const std::string& entries :
         {host, "CN=a%2cb+c%3d\"d\"<e>;\\ /f,O=#g,OU= h "s, "CN=%c3%a9%e2%82%ac%f0%9f%99%82"s,
          "OU:30=%00h%20%ac,OU:20=%e9"s, "OU:28=%00%00%00h,CN:12=a%00b"s, "CN=a,+OU=b,OU=c"s,
          "CN:12=" + manyCharacters + ",O=y", "1.2.3.4:22=b"s}) {
        const Owned<X509_NAME> name = nameFrom(entries);
        const X509Name wrapped(name.get());
        char line[1024] = {};
        EXPECT_EQ(wrapped.getNameDN(NAME_FORMAT_LEGACY_ONELINE), X509_NAME_oneline(name.get(), line, sizeof line));
        EXPECT_EQ(wrapped.getNameDN(NAME_FORMAT_ONELINE),
                  written([&](BIO* out) { return X509_NAME_print_ex(out, name.get(), 0, 0x82031f) > 0; }));
        EXPECT_EQ(wrapped.getNameDN(NAME_FORMAT_RFC2253), rfc2253(name.get()));
        EXPECT_EQ(wrapped.getHash(), X509_NAME_hash_ex(name.get(), nullptr, nullptr, nullptr));
    }
    captureLog();
    EXPECT_EQ(nameOf(host).getNameDN(NAME_FORMAT_LEGACY_ONELINE), "/C=US/O=Org/CN=host");
    EXPECT_EQ(nameOf(host).getNameDN(NAME_FORMAT_ONELINE), "C = US, O = Org, CN = host");
    EXPECT_EQ(nameOf(host).getNameDN(NAME_FORMAT_RFC2253), "CN=host,O=Org,C=US");
    EXPECT_EQ(nameOf(host).getNameDN(_name_format(7)), "");
    EXPECT_TRUE(logged({}));
}

TEST(Name, EmptyAndAddedTo) {
    captureLog();
    for (X509Name name : {X509Name(), X509Name(static_cast<const X509_NAME*>(nullptr))}) {
        EXPECT_EQ(name.getNameDN(NAME_FORMAT_LEGACY_ONELINE), "");
        const std::string nothing = "Unable to print name to BIO. Returning empty name";
        fails("X509Name::getNameDN", {{[&] { EXPECT_EQ(name.getNameDN(NAME_FORMAT_ONELINE), ""); }, "", {nothing}},
                                      {[&] { EXPECT_EQ(name.getNameDN(NAME_FORMAT_RFC2253), ""); }, "", {nothing}}});
        fails("X509Name::validate",
              {{[&] { EXPECT_FALSE(name.validate()); }, "", {"Unable to extract name entry, failed with error *"}}});
        EXPECT_EQ(name.getHash(), 0xeea339da); // the SHA-1 of nothing begins with DA 39 A3 EE
        for (const auto& [field, value] : std::map<const char*, const char*>{{"none", "x"},
                                                                             {"C", "USA"},
                                                                             {"ST", ""},
                                                                             {nullptr, "x"},
                                                                             {"CN", nullptr},
                                                                             {"O", manyCharacters.c_str()}}) {
            fails("X509Name::addEntry", {{[&, f = field, v = value] { name.addEntry(f, v); },
                                          "-1 Failed to add entry to X509Name object",
                                          {"Unable to extract name entry from OU, failed with error *"}}});
        }
        name.addEntry("C", "US");
        name.addEntry("organizationName", "Org");
        name.addEntry("2.5.4.3", "\xe9"); // ISO 8859-1
        EXPECT_EQ(name.getNameDN(NAME_FORMAT_RFC2253), "CN=\\C3\\A9,O=Org,C=US");
        EXPECT_TRUE(name.validate());
    }
}

TEST(Name, Fields) {
    for (const auto& [entries, unit, commonName] : std::vector<std::tuple<std::string, std::string, std::string>>{
             {"CN=a,OU=b,CN=c,OU=d", "b", "a"},
             {"OU:30=%00h%20%ac,CN:20=%e9", "%00h%20%ac", "%e9"},
             {"OU:12=a%00b,CN=%c3%a9", "a%00b", "%c3%a9"},
             {"OU:12=,CN:12=" + manyCharacters, "", manyCharacters}}) {
        EXPECT_EQ(nameOf(entries).getOUName(), unescaped(unit));
        EXPECT_EQ(nameOf(entries).getField(NAME_FIELD_OU), unescaped(unit));
        EXPECT_EQ(nameOf(entries).getCommonName(), unescaped(commonName));
    }
    captureLog();
    EXPECT_EQ(nameOf(host).getOUName(), "");
    EXPECT_TRUE(failuresLogged(
        {"16 - X509Name::getFieldAsASN: Unable to extract specified field from name, failed with error *",
         "16 - CmnApi::ASN1_STRING_to_string: Failed to get value, ASN1_STRING was NULL"}));
    for (const int field : {0, 3, -1}) {
        fails("X509Name::getFieldAsASN", {{[&] { nameOf(host).getField(nameField(field)); },
                                           "20 Unknown field name.",
                                           {"unknown field name passed " + std::to_string(field)}}});
    }
}

TEST(Name, Matching) {
    for (const auto& row : readRows("name-matches.txt")) {
        const X509Name one = nameOf(row[0]);
        const X509Name other = nameOf(row[1]);
        EXPECT_EQ(one.isMatching(other, true) && other.isMatching(one, true), row[2] == "1") << row[0] << row[1];
        EXPECT_EQ(one.isMatching(other, false), row[3] == "1") << row[0] << row[1];
        EXPECT_EQ(one == other, row[3] == "1") << row[0] << row[1];
        EXPECT_EQ(one == other.getX509Name(), row[3] == "1") << row[0] << row[1];
    }
    EXPECT_FALSE(nameOf("") == static_cast<const X509_NAME*>(nullptr));
    captureLog();
    EXPECT_FALSE(nameOf("OU=x").isMatching(nameOf(host), true));
    const std::string tag = " - X509Name::isMatching: ";
    EXPECT_TRUE(
        logged("*" + tag, {"2" + tag + "name_string = x.", "2" + tag + "name_string = NULL.",
                           "16" + tag + "One of the name string representing OU is NULL; hence shall fail match."}));
}

TEST(Name, CopiesShareNothingAndReleasedIsRefused) {
    X509Name name = nameOf(host);
    const X509Name copy(name);
    X509Name assigned;
    assigned = name;
    assigned = *&assigned; // itself
    name.addEntry("OU", "x");
    EXPECT_EQ(copy.getNameDN(NAME_FORMAT_RFC2253), "CN=host,O=Org,C=US");
    EXPECT_TRUE(assigned == copy && !(name == copy));
    name.reset();
    EXPECT_EQ(name.getNameDN(NAME_FORMAT_LEGACY_ONELINE), "");
    name.releaseObject();
    name.releaseObject();
    EXPECT_EQ(name.getX509Name(), nullptr);
    for (const std::function<void()>& use : std::vector<std::function<void()>>{
             [&] { name.addEntry("CN", "x"); }, [&] { name.getOUName(); }, [&] { name.getHash(); },
             [&] { name.getNameDN(NAME_FORMAT_LEGACY_ONELINE); }, [&] { name.getNameDN(NAME_FORMAT_ONELINE); },
             [&] { name.isMatching(copy, true); }, [&] { copy.isMatching(name, true); }}) {
        EXPECT_EQ(thrown(use).substr(0, 3), "20 ");
    }
    EXPECT_FALSE(name == copy || copy == name || name.isMatching(copy, false) || name.validate());
    name = copy;
    EXPECT_TRUE(name == copy);
    name.releaseObject();
    name.reset();
    name.addEntry("CN", "x");
    EXPECT_EQ(name.getCommonName(), "x");
}

} // namespace
