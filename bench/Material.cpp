#include "Material.h"

#include <openssl/pem.h>
#include <openssl/rsa.h>

#include "Pairs.h"

namespace {

constexpr long validSeconds = 86400L * 365 * 10; // stores outlive many runs

void addAttribute(X509_NAME* name, const char* field, const std::string& value) {
    require(X509_NAME_add_entry_by_txt(name, field, MBSTRING_ASC, reinterpret_cast<const unsigned char*>(value.c_str()),
                                       -1, -1, 0) == 1,
            "making a name");
}

Owned<X509> makeCertificate(int number) {
    Owned<X509> certificate(X509_new());
    EVP_PKEY* const key = keyMaterial().key.get();
    const std::string host = "host" + std::to_string(number) + ".example.org";
    X509_set_version(certificate.get(), X509_VERSION_3);
    ASN1_INTEGER_set_uint64(X509_get_serialNumber(certificate.get()),
                            0x9f3a5c7e12345678u + static_cast<unsigned>(number));
    X509_gmtime_adj(X509_getm_notBefore(certificate.get()), 0);
    X509_gmtime_adj(X509_getm_notAfter(certificate.get()), validSeconds);
    X509_NAME* const subject = X509_get_subject_name(certificate.get());
    addAttribute(subject, "C", "DE");
    addAttribute(subject, "O", "Example Organisation");
    addAttribute(subject, "OU", "Services");
    addAttribute(subject, "CN", host);
    X509_set_issuer_name(certificate.get(), subject);
    X509_set_pubkey(certificate.get(), key);
    addExtension(certificate.get(), certificate.get(), NID_basic_constraints, "critical,CA:FALSE");
    addExtension(certificate.get(), certificate.get(), NID_key_usage, "critical,digitalSignature,keyEncipherment");
    addExtension(certificate.get(), certificate.get(), NID_ext_key_usage, "serverAuth,clientAuth");
    addExtension(certificate.get(), certificate.get(), NID_subject_key_identifier, "hash");
    addExtension(certificate.get(), certificate.get(), NID_crl_distribution_points,
                 "URI:http://crl.example.org/services.crl");
    addExtension(certificate.get(), certificate.get(), NID_subject_alt_name,
                 ("DNS:" + host + ",DNS:www.example.org,IP:10.0.0.1,email:admin@example.org").c_str());
    require(X509_sign(certificate.get(), key, EVP_sha256()) != 0, "signing a certificate");
    return certificate;
}

} // namespace

const KeyMaterial& keyMaterial() {
    static const KeyMaterial material = [] {
        KeyMaterial made;
        made.key.reset(EVP_RSA_gen(2048));
        const Owned<BIO> pkcs8(BIO_new(BIO_s_mem()));
        const Owned<BIO> pkcs1(BIO_new(BIO_s_mem()));
        require(made.key &&
                    PEM_write_bio_PKCS8PrivateKey(pkcs8.get(), made.key.get(), nullptr, nullptr, 0, nullptr, nullptr) ==
                        1 &&
                    PEM_write_bio_PrivateKey_traditional(pkcs1.get(), made.key.get(), nullptr, nullptr, 0, nullptr,
                                                         nullptr) == 1,
                "making a key");
        made.pkcs8 = textOf(pkcs8.get());
        made.pkcs1 = textOf(pkcs1.get());
        return made;
    }();
    return material;
}

std::string certificatesPem(int count) {
    const Owned<BIO> pem(BIO_new(BIO_s_mem()));
    for (int number = 0; number < count; ++number) {
        require(PEM_write_bio_X509(pem.get(), makeCertificate(number).get()) == 1, "writing a certificate");
    }
    return textOf(pem.get());
}

void addExtension(X509* certificate, const X509* issuer, int kind, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, const_cast<X509*>(issuer), certificate, nullptr, nullptr, 0);
    X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, &context, kind, value);
    require(extension != nullptr && X509_add_ext(certificate, extension, -1) == 1, "making an extension");
    X509_EXTENSION_free(extension);
}

std::string textOf(BIO* bio) {
    const char* data = nullptr;
    const long length = BIO_get_mem_data(bio, &data);
    return {data, static_cast<size_t>(length)};
}
