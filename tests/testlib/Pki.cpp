#include "testlib/Pki.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <stdexcept>

#include <openssl/rand.h>

#include <gtest/gtest.h>

#include "testlib/Bytes.h"
#include "testlib/Platform.h"

namespace testlib {

namespace {

template <class T> T require(T result) {
    if (!result) {
        throw std::runtime_error("the test could not make what it needs");
    }
    return result;
}

std::map<std::string, EVP_PKEY*>& keys() {
    static auto& kept = *new std::map<std::string, EVP_PKEY*>; // outlives OpenSSL's own clean-up
    return kept;
}

std::string crlBy(EVP_PKEY* key) {
    const Owned<X509_CRL> crl(X509_CRL_new());
    const Owned<ASN1_STRING> update(ASN1_TIME_set(nullptr, 0));
    X509_CRL_set1_lastUpdate(crl.get(), update.get());
    X509_CRL_sign(crl.get(), key, EVP_sha256());
    return written([&](BIO* out) { return PEM_write_bio_X509_CRL(out, crl.get()); });
}

/** PKCS#1 under the name of PKCS#8. */
std::string misnamed(std::string text) {
    for (size_t at = 0; (at = text.find("RSA PRIVATE", at)) != std::string::npos;) {
        text.erase(at, 4);
    }
    return text;
}

std::string scryptPem(EVP_PKEY* key, const EVP_CIPHER* cipher) {
    const Owned<PKCS8_PRIV_KEY_INFO> plain(EVP_PKEY2PKCS8(key));
    unsigned char salt[8] = {};
    X509_ALGOR* const algorithm = PKCS5_pbe2_set_scrypt(cipher, salt, sizeof salt, nullptr, 16, 8, 1);
    const Owned<X509_SIG> encrypted(PKCS8_set0_pbe("secret", 6, plain.get(), require(algorithm)));
    return written([&](BIO* out) { return PEM_write_bio_PKCS8(out, require(encrypted.get())); });
}

std::string block(const std::string& form, std::string how, const std::string& kind) {
    const Owned<EVP_CIPHER> cipher(how.empty() ? nullptr : EVP_CIPHER_fetch(legacyContext(), how.c_str(), nullptr));
    std::replace(how.begin(), how.end(), '_', ' ');
    return form == "nul"      ? std::string("\0\n", 2)
           : form == "text"   ? "text\n"
           : form == "bad"    ? "-----BEGIN " + how + "-----\nAAAA\n-----END " + how + "-----\n"
           : form == "locked" ? lockedPem(how, makeCertificate(kind).get())
           : form == "cert"   ? pem(makeCertificate(kind).get())
           : form == "pkcs1"  ? misnamed(pem(keyOf(kind), nullptr, true))
           : form == "crl"    ? crlBy(keyOf(kind))
           : form == "public" ? publicPem(keyOf(kind))
           : form == "pbe"    ? oldPem(keyOf(kind), OBJ_txt2nid(how.c_str()))
           : form == "scrypt" ? scryptPem(keyOf(kind), cipher.get())
           : form == "trusted"
               ? written([&](BIO* out) { return PEM_write_bio_X509_AUX(out, makeCertificate(kind).get()); })
               : pem(keyOf(kind), cipher.get(), form == "old");
}

} // namespace

std::string written(const std::function<int(BIO*)>& write) {
    const Owned<BIO> out(BIO_new(BIO_s_mem()));
    require(write(out.get()) == 1);
    const char* text = nullptr;
    const long length = BIO_get_mem_data(out.get(), &text);
    return std::string(text, text + length);
}

std::string pem(X509* certificate) {
    return written([&](BIO* out) { return PEM_write_bio_X509(out, certificate); });
}

std::string pem(EVP_PKEY* key, const EVP_CIPHER* cipher, bool traditional) {
    const auto write = traditional ? PEM_write_bio_PrivateKey_traditional : PEM_write_bio_PrivateKey;
    return written([&](BIO* out) { return write(out, key, cipher, bytes("secret"), 6, nullptr, nullptr); });
}

std::string publicPem(EVP_PKEY* key) {
    return written([&](BIO* out) { return PEM_write_bio_PUBKEY(out, key); });
}

std::string oldPem(EVP_PKEY* key, int algorithm) {
    const Owned<PKCS8_PRIV_KEY_INFO> plain(EVP_PKEY2PKCS8(key));
    const Owned<X509_SIG> encrypted(
        PKCS8_encrypt_ex(algorithm, nullptr, "secret", 6, nullptr, 0, 0, plain.get(), legacyContext(), nullptr));
    return written([&](BIO* out) { return PEM_write_bio_PKCS8(out, require(encrypted.get())); });
}

std::string lockedPem(const std::string& type, X509* certificate) {
    const auto encode = reinterpret_cast<i2d_of_void*>(i2d_X509);
    const std::string phrase = "secret";
    return written([&](BIO* out) {
        return PEM_ASN1_write_bio(encode, type.c_str(), out, certificate, EVP_aes_128_cbc(), bytes(phrase), 6, nullptr,
                                  nullptr);
    });
}

std::string pemOf(const std::string& blocks) {
    std::string text;
    std::istringstream stream(blocks);
    for (std::string part; std::getline(stream, part, '+');) {
        const size_t colon = part.find(':');
        const size_t slash = std::min(part.find('/'), colon);
        const std::string how = part.substr(slash, colon - slash);
        text += part == "crlf:" ? ""
                                : block(part.substr(0, slash), how.substr(how.empty() ? 0 : 1), part.substr(colon + 1));
    }
    for (size_t at = 0; blocks.rfind("crlf:", 0) == 0 && (at = text.find('\n', at)) != std::string::npos; at += 2) {
        text.insert(at, "\r");
    }
    return text;
}

std::string unescaped(const std::string& text) {
    std::string bytes;
    for (size_t at = 0; at < text.size(); at += text[at] == '%' ? 3 : 1) {
        bytes += text[at] == '%' ? fromHex(text.substr(at + 1, 2)) : text.substr(at, 1);
    }
    return bytes;
}

std::string tlv(int tag, const std::string& content) {
    std::string length(1, static_cast<char>(content.size()));
    if (content.size() > 127) {
        length = {'\x83', static_cast<char>(content.size() >> 16), static_cast<char>(content.size() >> 8), length[0]};
    }
    return static_cast<char>(tag) + length + content;
}

Owned<X509_NAME> makeName(const std::vector<Entry>& entries) {
    Owned<X509_NAME> name(X509_NAME_new());
    for (const auto& [field, value, type, set] : entries) {
        const int length = static_cast<int>(value.size());
        require(X509_NAME_add_entry_by_txt(name.get(), field.c_str(), type, bytes(value), length, -1, set) == 1);
    }
    return name;
}

Owned<X509_NAME> nameFrom(const std::string& text) {
    std::vector<Entry> entries;
    std::istringstream stream(text);
    for (std::string entry; std::getline(stream, entry, ',');) {
        const size_t begin = entry[0] == '+' ? 1 : 0;
        const size_t equals = entry.find('=');
        const size_t colon = std::min(entry.find(':'), equals);
        entries.push_back({entry.substr(begin, colon - begin), unescaped(entry.substr(equals + 1)),
                           colon < equals ? std::stoi(entry.substr(colon + 1)) : MBSTRING_UTF8, begin == 1 ? -1 : 0});
    }
    return makeName(entries);
}

std::string der(X509_NAME* name) {
    return written([&](BIO* out) { return ASN1_i2d_bio_of(X509_NAME, i2d_X509_NAME, out, name); });
}

std::string rfc2253(X509_NAME* name) {
    return written([&](BIO* out) { return X509_NAME_print_ex(out, name, 0, XN_FLAG_RFC2253) > 0; });
}

EVP_PKEY* keyOf(const std::string& kind) {
    EVP_PKEY*& key = keys()[kind];
    if (key == nullptr) {
        key = kind[0] == 'R'   ? EVP_RSA_gen(std::stoul(kind.substr(4)))
              : kind[0] == 'P' ? EVP_EC_gen(kind.substr(0, kind.find('#')).c_str())
                               : EVP_PKEY_Q_keygen(nullptr, nullptr, kind.c_str());
    }
    return require(key);
}

std::string kindOf(const EVP_PKEY* key) {
    const auto found = std::find_if(keys().begin(), keys().end(), [&](const auto& kept) {
        return key != nullptr && EVP_PKEY_eq(kept.second, key) == 1;
    });
    return found == keys().end() ? "" : found->first;
}

Owned<X509> makeCertificate(const std::string& key, const std::function<void(X509*)>& change, const EVP_MD* digest,
                            const std::string& signer) {
    Owned<X509> certificate(X509_new());
    const Owned<X509_NAME> name = nameFrom("CN=host");
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 86400);
    X509_set_subject_name(certificate.get(), name.get());
    X509_set_issuer_name(certificate.get(), name.get());
    X509_set_pubkey(certificate.get(), keyOf(key));
    if (change) {
        change(certificate.get());
    }
    require(X509_sign(certificate.get(), keyOf(signer.empty() ? key : signer), digest));
    return certificate;
}

Owned<X509> makeCertificate(const std::vector<std::pair<int, std::string>>& extensions) {
    return makeCertificate("P-256", [&](X509* certificate) {
        for (const auto& [nid, content] : extensions) {
            require(X509_add_ext(certificate, makeExtension(nid, content).get(), -1) == 1);
        }
    });
}

Owned<X509_EXTENSION> makeExtension(int nid, const std::string& content) {
    const Owned<ASN1_STRING> value(ASN1_OCTET_STRING_new());
    ASN1_STRING_set(value.get(), content.data(), static_cast<int>(content.size()));
    return Owned<X509_EXTENSION>(require(X509_EXTENSION_create_by_NID(nullptr, nid, 0, value.get())));
}

Owned<ASN1_TIME> timeFrom(const std::string& text) {
    if (text[0] == '-' || text[0] == '+') {
        return Owned<ASN1_TIME>(X509_gmtime_adj(nullptr, std::stol(text)));
    }
    Owned<ASN1_TIME> time(ASN1_STRING_type_new(text.size() > 13 ? V_ASN1_GENERALIZEDTIME : V_ASN1_UTCTIME));
    ASN1_STRING_set(time.get(), text.data(), static_cast<int>(text.size()));
    return time;
}

Owned<X509_CRL> makeList(const std::string& key, const std::function<void(X509_CRL*)>& change,
                         const std::string& lastUpdate, const std::string& nextUpdate) {
    Owned<X509_CRL> list(X509_CRL_new());
    X509_CRL_set_version(list.get(), X509_CRL_VERSION_2);
    X509_CRL_set_issuer_name(list.get(), nameFrom("CN=host").get());
    X509_CRL_set1_lastUpdate(list.get(), timeFrom(lastUpdate).get());
    X509_CRL_set1_nextUpdate(list.get(), nextUpdate.empty() ? nullptr : timeFrom(nextUpdate).get());
    if (change) {
        change(list.get());
    }
    require(X509_CRL_sign(list.get(), keyOf(key), key[0] == 'E' ? nullptr : EVP_sha256()));
    return list;
}

void revoke(X509_CRL* list, const std::string& entries) {
    std::istringstream stream(entries);
    for (std::string text; std::getline(stream, text, '+');) {
        const size_t at = std::min(text.find('@'), text.size());
        const size_t colon = std::min(text.find(':'), at);
        const int before = std::max(0, sk_X509_REVOKED_num(X509_CRL_get_REVOKED(list)));
        const Owned<ASN1_TIME> date(ASN1_TIME_set(nullptr, 1000000000 - 3600L * before));
        X509_REVOKED* const entry = X509_REVOKED_new();
        X509_REVOKED_set_serialNumber(entry, serialFrom(text.substr(0, colon)).get());
        X509_REVOKED_set_revocationDate(entry, date.get());
        if (colon < at) {
            const std::string reason = fromHex(text.substr(colon + 1, at - colon - 1));
            X509_REVOKED_add_ext(entry, makeExtension(NID_crl_reason, reason).get(), -1);
        }
        if (at < text.size()) {
            const std::string name = tlv(0x30, tlv(0xa4, der(nameFrom("CN=" + text.substr(at + 1)).get())));
            X509_REVOKED_add_ext(entry, makeExtension(NID_certificate_issuer, name).get(), -1);
        }
        require(X509_CRL_add0_revoked(list, entry) == 1);
    }
}

Owned<ASN1_INTEGER> serialFrom(const std::string& hex) {
    BIGNUM* parsed = nullptr;
    require(BN_hex2bn(&parsed, hex.c_str()) > 0);
    const Owned<BIGNUM> number(parsed);
    return Owned<ASN1_INTEGER>(require(BN_to_ASN1_INTEGER(number.get(), nullptr)));
}

std::string der(X509_CRL* list) {
    return written([&](BIO* out) { return i2d_X509_CRL_bio(out, list); });
}

std::string pem(X509_CRL* list) {
    return written([&](BIO* out) { return PEM_write_bio_X509_CRL(out, list); });
}

Owned<X509> certificateWithPoints(const std::string& text) {
    const auto namesFrom = [](int tag, const std::string& list) {
        std::string names;
        std::istringstream stream(list);
        for (std::string name; std::getline(stream, name, ',');) {
            names += name.rfind("dir:", 0) == 0   ? tlv(0xa4, der(nameFrom("CN=" + name.substr(4)).get()))
                     : name.rfind("dns:", 0) == 0 ? tlv(0x82, name.substr(4))
                                                  : tlv(0x86, unescaped(name));
        }
        return names.empty() ? "" : tlv(tag, names);
    };
    std::string points;
    std::istringstream stream(text);
    for (std::string point; std::getline(stream, point, '&');) {
        std::string parts[3];
        std::istringstream fields(point);
        for (std::string& part : parts) {
            std::getline(fields, part, ';');
        }
        const std::string name =
            parts[0] == "relative" ? tlv(0xa1, fromHex("30080603550403") + tlv(12, "x")) : namesFrom(0xa0, parts[0]);
        points += tlv(0x30, (name.empty() ? "" : tlv(0xa0, name)) +
                                (parts[1].empty() ? "" : tlv(0x81, fromHex(parts[1]))) + namesFrom(0xa2, parts[2]));
    }
    return makeCertificate({{NID_crl_distribution_points, text == "malformed" ? text : tlv(0x30, points)}});
}

OSSL_LIB_CTX* legacyContext() {
    static OSSL_LIB_CTX* const context = [] {
        OSSL_LIB_CTX* made = require(OSSL_LIB_CTX_new());
        require(OSSL_PROVIDER_load(made, "default"));
        return OSSL_PROVIDER_load(made, "legacy") == nullptr ? nullptr : made;
    }();
    return context;
}

Folder::Folder() : m_path(std::filesystem::temp_directory_path().generic_string() + "/cmncrypto-") {
    unsigned char name[8];
    require(RAND_bytes(name, sizeof name) == 1);
    m_path += toHex(std::string(name, name + sizeof name));
    require(std::filesystem::create_directory(m_path));
}

Folder::~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string Folder::write(const std::string& name, const std::string& content) const {
    std::ofstream(path(name), std::ios::binary) << content;
    return path(name);
}

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

PassPhraseOnInput::PassPhraseOnInput() {
    putOnInput("secret\n");
}

bool PassPhraseOnInput::asked() const {
    return leftOnInput() != 7;
}

} // namespace testlib
