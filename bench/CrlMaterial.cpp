#include "CrlMaterial.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

#include <openssl/pem.h>
#include <openssl/rsa.h>

#include "Pairs.h"

namespace {

namespace fs = std::filesystem;

constexpr long validSeconds = 86400;
constexpr int listYears = 10; // lists outlive many runs

fs::path cached(const std::string& name) {
    const fs::path folder = CMNCRYPTO_BENCH_LISTS;
    fs::create_directories(folder);
    return folder / name;
}

/** Whole or not at all, so that an interrupted run leaves nothing that a later one takes for a list. */
void save(const fs::path& path, const char* data, size_t length) {
    const fs::path begun = path.string() + ".new";
    std::ofstream file(begun, std::ios::binary);
    file.write(data, static_cast<std::streamsize>(length));
    file.close();
    require(file.good(), "saving a list");
    fs::rename(begun, path);
}

template <class Bytes> Bytes contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    Bytes bytes(static_cast<size_t>(fs::file_size(path)), '\0');
    file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    require(file.good(), "reading a list");
    return bytes;
}

Owned<EVP_PKEY> keptKey() {
    const fs::path path = cached("issuer.key");
    if (!fs::exists(path)) {
        const Owned<EVP_PKEY> key(EVP_RSA_gen(2048));
        const Owned<BIO> bio(BIO_new(BIO_s_mem()));
        require(PEM_write_bio_PrivateKey(bio.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) == 1,
                "writing a key");
        const std::string text = textOf(bio.get());
        save(path, text.data(), text.size());
    }
    const Owned<BIO> bio(BIO_new_file(path.c_str(), "rb"));
    return Owned<EVP_PKEY>(PEM_read_bio_PrivateKey(bio.get(), nullptr, nullptr, nullptr));
}

void setName(X509_NAME* name, const char* commonName) {
    for (const auto& [field, value] : {std::pair("O", "Example Organisation"), std::pair("CN", commonName)}) {
        require(X509_NAME_add_entry_by_txt(name, field, MBSTRING_ASC, reinterpret_cast<const unsigned char*>(value), -1,
                                           -1, 0) == 1,
                "making a name");
    }
}

/** A certificate without extensions and signature. @param issuer null for one that names itself */
Owned<X509> beginCertificate(const char* name, EVP_PKEY* key, const X509* issuer, const ASN1_INTEGER* serial) {
    Owned<X509> certificate(X509_new());
    X509_set_version(certificate.get(), X509_VERSION_3);
    X509_set_serialNumber(certificate.get(), const_cast<ASN1_INTEGER*>(serial));
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), validSeconds);
    setName(X509_get_subject_name(certificate.get()), name);
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(issuer == nullptr ? certificate.get() : issuer));
    X509_set_pubkey(certificate.get(), key);
    addExtension(certificate.get(), issuer, NID_subject_key_identifier, "hash");
    if (issuer != nullptr) {
        addExtension(certificate.get(), issuer, NID_authority_key_identifier, "keyid:always");
    }
    return certificate;
}

Owned<X509> makeAuthority(const char* name, EVP_PKEY* key, const X509* issuer, EVP_PKEY* issuerKey, int number) {
    Owned<X509> certificate = beginCertificate(name, key, issuer, serialOf(-number).get());
    addExtension(certificate.get(), issuer, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(certificate.get(), issuer, NID_key_usage, "critical,keyCertSign,cRLSign");
    require(X509_sign(certificate.get(), issuerKey, EVP_sha256()) != 0, "signing an authority");
    return certificate;
}

Owned<X509> issue(const ListPki& pki, const ASN1_INTEGER* serial) {
    Owned<X509> certificate = beginCertificate("host.example.org", keyMaterial().key.get(), pki.issuer.get(), serial);
    require(X509_sign(certificate.get(), pki.issuerKey.get(), EVP_sha256()) != 0, "signing a certificate");
    return certificate;
}

std::string pemOf(const X509_CRL* crl) {
    const Owned<BIO> bio(BIO_new(BIO_s_mem()));
    require(PEM_write_bio_X509_CRL(bio.get(), crl) == 1, "writing a list");
    return textOf(bio.get());
}

void addEntry(X509_CRL* crl, int number, ASN1_TIME* date, ASN1_ENUMERATED* reason) {
    Owned<X509_REVOKED> entry(X509_REVOKED_new());
    X509_REVOKED_set_serialNumber(entry.get(), serialOf(number).get());
    X509_REVOKED_set_revocationDate(entry.get(), date);
    if (number % 2 == 1) {
        ASN1_ENUMERATED_set(reason, 1 + number / 2 % 5);
        X509_REVOKED_add1_ext_i2d(entry.get(), NID_crl_reason, reason, 0, 0);
    }
    require(X509_CRL_add0_revoked(crl, entry.release()) == 1, "adding an entry");
}

Owned<X509_CRL> makeList(int entries, const X509* issuer, EVP_PKEY* key) {
    Owned<X509_CRL> crl(X509_CRL_new());
    ASN1_TIME* const date = ASN1_TIME_adj(nullptr, time(nullptr), 0, 0);
    X509_CRL_set_version(crl.get(), X509_CRL_VERSION_2);
    X509_CRL_set_issuer_name(crl.get(), X509_get_subject_name(issuer));
    X509_CRL_set1_lastUpdate(crl.get(), date);
    ASN1_ENUMERATED* const reason = ASN1_ENUMERATED_new();
    for (int number = 0; number < entries; ++number) {
        addEntry(crl.get(), number, date, reason);
    }
    ASN1_ENUMERATED_free(reason);
    ASN1_TIME_adj(date, time(nullptr), 365 * listYears, 0);
    X509_CRL_set1_nextUpdate(crl.get(), date);
    ASN1_TIME_free(date);
    ASN1_INTEGER* const number = ASN1_INTEGER_new();
    ASN1_INTEGER_set(number, 7);
    X509_CRL_add1_ext_i2d(crl.get(), NID_crl_number, number, 0, 0);
    ASN1_INTEGER_free(number);
    require(X509_CRL_sign(crl.get(), key, EVP_sha256()) != 0, "signing a list");
    return crl;
}

void makeFiles(const ListMaterial& made) {
    std::fprintf(stderr, "making a list of %d entries, once\n", made.entries);
    const Owned<X509_CRL> crl = makeList(made.entries, listPki().issuer.get(), listPki().issuerKey.get());
    unsigned char* der = nullptr;
    const int length = i2d_X509_CRL(crl.get(), &der);
    require(length > 0, "encoding a list");
    const std::string pem = pemOf(crl.get());
    save(made.pemPath, pem.data(), pem.size());
    save(made.derPath, reinterpret_cast<const char*>(der), static_cast<size_t>(length));
    OPENSSL_free(der);
}

} // namespace

std::string pemOf(const X509* certificate) {
    const Owned<BIO> bio(BIO_new(BIO_s_mem()));
    require(PEM_write_bio_X509(bio.get(), certificate) == 1, "writing a certificate");
    return textOf(bio.get());
}

Owned<ASN1_INTEGER> serialOf(int entry) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    require(EVP_Digest(&entry, sizeof entry, digest, nullptr, EVP_sha256(), nullptr) == 1, "a serial number");
    digest[0] = static_cast<unsigned char>((digest[0] & 0x7f) | 0x40); // positive, and 16 bytes long
    BIGNUM* const number = BN_bin2bn(digest, 16, nullptr);
    Owned<ASN1_INTEGER> serial(BN_to_ASN1_INTEGER(number, nullptr));
    BN_free(number);
    return serial;
}

const ListPki& listPki() {
    static const ListPki pki = [] {
        ListPki made;
        EVP_PKEY* const rootKey = keyMaterial().key.get();
        made.issuerKey = keptKey();
        made.root = makeAuthority("Example Root", rootKey, nullptr, rootKey, 1);
        made.issuer = makeAuthority("Example Authority", made.issuerKey.get(), made.root.get(), rootKey, 2);
        made.good = issue(made, serialOf(-3).get());
        made.rootPem = pemOf(made.root.get());
        made.rootListPem = pemOf(makeList(0, made.root.get(), rootKey).get());
        made.chainPem = pemOf(made.good.get()) + pemOf(made.issuer.get());
        return made;
    }();
    return pki;
}

Owned<X509> certificateWith(const ASN1_INTEGER* serial) {
    return issue(listPki(), serial);
}

ListMaterial listFiles(int entries) {
    ListMaterial made;
    made.entries = entries;
    made.derPath = cached("list-" + std::to_string(entries) + ".der");
    made.pemPath = cached("list-" + std::to_string(entries) + ".pem");
    if (!fs::exists(made.derPath) || !fs::exists(made.pemPath)) {
        makeFiles(made);
    }
    return made;
}

const ListMaterial& list(int entries) {
    static std::map<int, ListMaterial> lists;
    const auto [place, isNew] = lists.try_emplace(entries);
    if (isNew) {
        place->second = listFiles(entries);
        place->second.der = contentOf<BinaryData>(place->second.derPath);
        place->second.pem = contentOf<std::string>(place->second.pemPath);
    }
    return place->second;
}
