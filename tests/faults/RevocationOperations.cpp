#include <memory>

#include "faults/Faults.h"
#include "faults/Operations.h"

using namespace faults;

namespace {

const std::string& chain() {
    static const std::string text = pem(makeCertificate().get());
    return text;
}

/** A list with a number that revokes the certificates of makeCertificate(), as superseded. */
const Crl& tried() {
    static const Crl crl(makeList("P-256", [](X509_CRL* list) {
                             revoke(list, "1:0a0104");
                             X509_CRL_add_ext(list, makeExtension(NID_crl_number, tlv(2, "1")).get(), -1);
                         }).get());
    return crl;
}

/** A list that revokes another. */
const Crl& other() {
    static const Crl crl(makeList("P-256", [](X509_CRL* list) { revoke(list, "2"); }).get());
    return crl;
}

/** Which list an object has as PEM, DER and OpenSSL's object: "n" tried(), "o" other(), "-" none. */
std::string formsIn(const Crl& crl) {
    const auto mark = [](bool isTried, bool isOther) { return isTried ? 'n' : isOther ? 'o' : '-'; };
    return spared([&] {
        const Crl parsed = crl.getX509Crl() == nullptr ? Crl() : Crl(crl.getX509Crl());
        const BinaryData& encoded = crl.getDerCrl();
        return std::string{mark(crl == tried(), crl == other()),
                           mark(encoded == tried().getDerCrl(), encoded == other().getDerCrl()),
                           mark(parsed == tried(), parsed == other())};
    });
}

/** The code of a conversion, which writes on success only. */
template <class Form> int writtenAs(int (*convert)(X509_CRL*, Form&), const Form& expected) {
    Form out = spared([] { return Form(1, '.'); });
    const int code = convert(tried().getX509Crl(), out);
    EXPECT_TRUE(code == 0 ? out == expected : out.size() == 1);
    return code;
}

/** An operation that hands something out on success only. */
template <class T = X509_CRL, class Read> std::function<std::string()> read(const Read& read) {
    return made([=] { return codeOf<T>(read); });
}

template <class Set> std::function<std::string()> setting(const Set& set) {
    return made([=] {
        Crl crl = spared([] { return Crl(other()); });
        const int code = set(crl);
        return std::to_string(code) + " " + formsIn(crl);
    });
}

void addLists(Operations& all) {
    all["CrlConverter::derToX509Crl"] =
        read([](auto to) { return CrlConverter::derToX509Crl(tried().getDerCrl(), to); });
    all["CrlConverter::pemToX509Crl"] =
        read([](auto to) { return CrlConverter::pemToX509Crl(tried().getPemCrl(), to); });
    all["CrlConverter::x509CrlToDer"] = made([] { return writtenAs(CrlConverter::x509CrlToDer, tried().getDerCrl()); });
    all["CrlConverter::x509CrlToPem"] = made([] { return writtenAs(CrlConverter::x509CrlToPem, tried().getPemCrl()); });
    all["Crl::Crl"] = made([] { return formsIn(Crl(tried().getX509Crl())); });
    all["Crl::operator="] = setting([](Crl& crl) {
        failing([&] { crl = tried(); }, [&] { return formsIn(crl) == "ooo"; });
        return 0;
    });
    all["Crl::setDerCrl"] = setting([](Crl& crl) { return crl.setDerCrl(tried().getDerCrl()); });
    all["Crl::setPemCrl"] = setting([](Crl& crl) { return crl.setPemCrl(tried().getPemCrl()); });
    all["Crl::setX509Crl"] = setting([](Crl& crl) { return crl.setX509Crl(tried().getX509Crl()); });
    all["Crl::getIssuer"] = made([] { static_cast<void>(tried().getIssuer()); });
    all["Crl::getCrlNumber"] = made([] { return tried().getCrlNumber(); });
    all["Crl::isExpired"] = made([] { return tried().isExpired(); });
    all["Crl::isNewerThan"] = made([] { return tried().isNewerThan(tried()); });
    all["CrlUtil::isCrlExpired"] = made([] { return CrlUtil::isCrlExpired(tried().getX509Crl()); });
    all["Crl::checkCertRevokeStatus"] = made([] { return decision(spared([] { return Crl(tried()); }), 3600); });
    all["Crl::checkCertRevokeStatus again"] = made([] { return decision(tried(), 3600); });
    all["Crl::checkCertRevokeStatus of another"] = made([] { return decision(other(), 3600); });
    static const std::string both = tried().getPemCrl() + other().getPemCrl();
    static const X509CrlChain chain(both);
    all["extractX509CrlFromString()"] = made([] { return X509CrlChain(both).getCRLChainLength(); });
    all["getCRLatIndex()"] = read([](auto to) { return (*to = chain.getCRLatIndex(1)) == nullptr ? 1 : 0; });
}

template <class Source> std::string formatOf(const Source& source) {
    CrlFormat format = CRL_FORMAT_DER;
    const int code = CrlUtil::getCrlFormat(source, format);
    return std::to_string(code) + " " + std::to_string(format);
}

void addFiles(Operations& all, const std::string& kind, const std::string& path) {
    const std::string content = contentOf(path);
    const std::shared_ptr<BIO> bio(BIO_new(BIO_s_mem()), BIO_free);
    BIO_write(bio.get(), content.data(), static_cast<int>(content.size()));
    all["Crl::loadFromPath of " + kind] = setting([=](Crl& crl) { return crl.loadFromPath(path), 0; });
    all["CrlUtil::getCrlFormat(file) of " + kind] = made([=] { return formatOf(path); });
    all["CrlUtil::getCrlFormat(Buf) of " + kind] = made([=] { return formatOf(bio.get()); });
    all["CrlUtil::getX509Crl of " + kind] = read([=](auto to) { return CrlUtil::getX509Crl(path, to); });
    all["CrlUtil::getX509Crl of BIO of " + kind] = read([=](auto to) { return CrlUtil::getX509Crl(bio.get(), to); });
}

/** Code, number of distribution points, number of URLs. The certificate has a point with two URLs and its issuer. */
template <class Find> std::function<std::string()> findingUrls(Find find) {
    const std::string names = tlv(0x86, "http://host/" + std::string(50, 'a')) + tlv(0x86, "ldap://host/a");
    const std::string point = tlv(0xa0, tlv(0xa0, names)) + tlv(0xa2, tlv(0xa4, der(nameFrom("CN=host").get())));
    return made([find, certificate = std::shared_ptr<X509>(
                           makeCertificate({{NID_crl_distribution_points, tlv(0x30, tlv(0x30, point))}}))] {
        unsigned int count = 7;
        std::vector<std::string> urls = spared([] { return std::vector<std::string>(5); });
        const int code = find(certificate.get(), 511, count, urls);
        return std::to_string(code) + " " + std::to_string(count) + " " + std::to_string(urls.size());
    });
}

void addUtilities(Operations& all) {
    all["CrlUtil::getHttpURLsFromCertCDPs()"] = findingUrls(CrlUtil::getHttpURLsFromCertCDPs);
    all["CrlUtil::getURLsFromCertCDPs()"] = findingUrls(CrlUtil::getURLsFromCertCDPs);
    for (const auto level : {CRL_CHECK_LEAF, CRL_CHECK_CHAIN}) {
        const auto take = [=](auto to) { return CrlUtil::getX509CertsToGetCrlsFor(chain(), level, to); };
        all["CrlUtil::getX509CertsToGetCrlsFor() at " + std::to_string(level)] = read<STACK_OF(X509)>(take);
    }
    static const Owned<X509> certificate = makeCertificate(
        "P-256", [](X509* made) { X509_set_serialNumber(made, serialFrom(std::string(40, '7')).get()); });
    all["CrlUtil::getCertSerialNumberInHex"] =
        made([] { return CrlUtil::getCertSerialNumberInHex(certificate.get()).size(); });
}

/** A store that trusts the chain and asks for its revocation. */
X509Store storeWith(const std::string& list) {
    X509Store store;
    store.setTrustedCerts(chain());
    store.setCrl(list);
    store.setCrlCheckLevel(CRL_CHECK_LEAF);
    return store;
}

/** What OpenSSL's verification says. */
int verdict(X509Store& store) {
    return spared([&] { return store.verifyX509Cert(chain()), store.getStatus().code; });
}

/** Changes a store, which is to be of the verdict @p failed when that fails. */
template <class Change> std::function<std::string()> changing(const X509Store& before, int failed, Change change) {
    return made([=] {
        X509Store store = spared([&] { return before; });
        failing([&] { change(store); }, [&] { return verdict(store) == failed; });
        return verdict(store);
    });
}

/** Result and status of a verification, maybe after another one. */
std::function<std::string()> verifying(const X509Store& before, bool again) {
    return made([=] {
        X509Store store = spared([&] { return before; });
        int result = again ? verdict(store) : 0;
        failing([&] { result = store.verifyX509Cert(chain()); }, [&] { return !store.getStatus().verified; });
        const auto& [isVerified, code, message] = store.getStatus();
        return std::to_string(result) + " " + std::to_string(isVerified) + " " + std::to_string(code) + " " + message;
    });
}

void addStores(Operations& all) {
    static const X509Store store = storeWith(other().getPemCrl());
    const X509Store revoking = storeWith(tried().getPemCrl());
    all["X509Store::X509Store"] = made([] { X509Store(); });
    all["X509Store::operator="] =
        changing(revoking, X509_V_ERR_CERT_REVOKED, [](X509Store& target) { target = store; });
    all["X509Store::setTrustedCerts"] = changing(
        store, X509_V_OK, [stranger = pemOf("cert:RSA-2048")](X509Store& target) { target.setTrustedCerts(stranger); });
    all["X509Store::setCrl"] =
        changing(store, X509_V_ERR_UNABLE_TO_GET_CRL, [](X509Store& target) { target.setCrl(tried().getPemCrl()); });
    const auto raise = [](X509Store& target) {
        const _storeStatus& status = target.getStatus();
        failing([&] { target.setCrlCheckLevel(CRL_CHECK_CHAIN); },
                [&] {
                    return status.code == 0 || (status.code == 9105 &&
                                                status.message == "Failed to set the certificate verification flags.");
                });
    };
    all["setCrlCheckLevel()"] = changing(X509Store(), X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, raise);
    all["setCrlCheckLevel() again"] = changing(revoking, X509_V_ERR_CERT_REVOKED, raise);
    all["verifyX509Cert(X509 cert)"] = verifying(store, false);
    all["verifyX509Cert(X509 cert) again"] = verifying(store, true);
    all["verifyX509Cert(X509 cert) of a revoked one"] = verifying(revoking, false);
}

} // namespace

std::string faults::decision(const Crl& crl, unsigned int age) {
    static X509CertChain bundle(chain(), INIT_TYPE_BLOB);
    static X509Certificate certificate(chain(), INIT_TYPE_BLOB);
    RevokeInfo info = {nullptr, 7, 7};
    CCRYPTStatus status = CCRYPT_SUCCESS;
    const auto text = [&] {
        return std::to_string(status) + " " + (info.serialNumber == nullptr ? "-" : info.serialNumber) + " " +
               std::to_string(info.revocationTime) + " " + std::to_string(info.reason);
    };
    failing([&] { status = crl.checkCertRevokeStatus(&bundle, age, &certificate, &info); },
            [&] { return text() == "0 - 7 7"; });
    const std::unique_ptr<char[]> owner(info.serialNumber);
    return text();
}

Operations faults::revocationOperations(const Folder& folder) {
    Operations all;
    decision(tried(), 3600); // which is then asked again
    addLists(all);
    addFiles(all, "PEM", folder.write("list.pem", tried().getPemCrl()));
    addFiles(all, "DER", folder.write("list.der", testlib::der(tried().getX509Crl())));
    addUtilities(all);
    addStores(all);
    return all;
}
