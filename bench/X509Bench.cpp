// Certificates and chains out of PEM. Most of what both sides do is OpenSSL setting up a decoder for each public key.

#include <filesystem>
#include <fstream>
#include <unistd.h>

#include <openssl/err.h>
#include <openssl/pem.h>

#include "Material.h"
#include "Pairs.h"

namespace {

/** What is asked of each certificate. */
struct Facts {
    std::string subject;
    std::string serial;
    std::string fingerprint;
    std::vector<std::string> names;
};

std::string hexPairs(const unsigned char* bytes, size_t length) {
    std::string text(3 * length - 1, ':');
    for (size_t i = 0; i < length; ++i) {
        text[3 * i] = "0123456789ABCDEF"[bytes[i] >> 4];
        text[3 * i + 1] = "0123456789ABCDEF"[bytes[i] & 15];
    }
    return text;
}

std::vector<std::string> rawNames(const X509* certificate) {
    const Owned<GENERAL_NAMES> entries(
        static_cast<GENERAL_NAMES*>(X509_get_ext_d2i(certificate, NID_subject_alt_name, nullptr, nullptr)));
    std::vector<std::string> names;
    const int count = sk_GENERAL_NAME_num(entries.get());
    names.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        const GENERAL_NAME* const entry = sk_GENERAL_NAME_value(entries.get(), i);
        const unsigned char* const data = ASN1_STRING_get0_data(entry->d.ia5);
        if (entry->type == GEN_IPADD) {
            char text[16];
            std::snprintf(text, sizeof text, "%d.%d.%d.%d", data[0], data[1], data[2], data[3]);
            names.emplace_back(text);
        } else {
            names.emplace_back(reinterpret_cast<const char*>(data),
                               static_cast<size_t>(ASN1_STRING_length(entry->d.ia5)));
        }
    }
    return names;
}

/** As a program would that reads many: digest and text buffer are kept, and the DER that was read is digested. */
class RawReader {
public:
    Facts read(const std::string& pem) {
        const Owned<BIO> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
        unsigned char* der = nullptr;
        long length = 0;
        require(PEM_bytes_read_bio(&der, &length, nullptr, PEM_STRING_X509, bio.get(), nullptr, nullptr) == 1,
                "raw PEM");
        const unsigned char* position = der;
        const Owned<X509> certificate(d2i_X509(nullptr, &position, length));
        require(certificate != nullptr, "raw certificate");
        Facts facts;
        BIO_reset(m_text.get());
        X509_NAME_print_ex(m_text.get(), X509_get_subject_name(certificate.get()), 0, XN_FLAG_RFC2253);
        facts.subject = textOf(m_text.get());
        BIGNUM* const number = ASN1_INTEGER_to_BN(X509_get0_serialNumber(certificate.get()), nullptr);
        char* const hex = BN_bn2hex(number);
        facts.serial = hex;
        OPENSSL_free(hex);
        BN_free(number);
        unsigned char digest[EVP_MAX_MD_SIZE];
        unsigned int digestLength = 0;
        require(EVP_DigestInit_ex(m_context.get(), m_sha256.get(), nullptr) == 1 &&
                    EVP_DigestUpdate(m_context.get(), der, static_cast<size_t>(length)) == 1 &&
                    EVP_DigestFinal_ex(m_context.get(), digest, &digestLength) == 1,
                "raw fingerprint");
        facts.fingerprint = hexPairs(digest, digestLength);
        OPENSSL_free(der);
        facts.names = rawNames(certificate.get());
        return facts;
    }

private:
    Owned<EVP_MD> m_sha256{EVP_MD_fetch(nullptr, "SHA256", nullptr)};
    Owned<EVP_MD_CTX> m_context{EVP_MD_CTX_new()};
    Owned<BIO> m_text{BIO_new(BIO_s_mem())};
};

Facts ourFacts(const std::string& pem) {
    const CmnCrypto::X509Certificate certificate(pem, CmnCrypto::INIT_TYPE_BLOB);
    return {certificate.getSubjectAsString(CmnCrypto::NAME_FORMAT_RFC2253), certificate.getSerialNumber(),
            certificate.generateHash(HASH_ALGO_SHA256), certificate.getSubjectAltNames()};
}

void certificateRaw(benchmark::State& state) {
    RawReader reader;
    const std::string pem = certificatesPem(1);
    const Facts expected = ourFacts(pem);
    const Facts first = reader.read(pem);
    require(first.subject == expected.subject && first.serial == expected.serial &&
                first.fingerprint == expected.fingerprint && first.names == expected.names,
            "comparing both sides");
    for (auto _ : state) {
        benchmark::DoNotOptimize(reader.read(pem));
    }
}

void certificateOurs(benchmark::State& state) {
    const std::string pem = certificatesPem(1);
    for (auto _ : state) {
        benchmark::DoNotOptimize(ourFacts(pem));
    }
}

constexpr int chainLength = 100;

const std::string& chainPem() {
    static const std::string pem = certificatesPem(chainLength);
    return pem;
}

Owned<STACK_OF(X509)> rawChain(BIO* pem) {
    Owned<STACK_OF(X509)> chain(sk_X509_new_null());
    while (X509* certificate = PEM_read_bio_X509(pem, nullptr, nullptr, nullptr)) {
        sk_X509_push(chain.get(), certificate);
    }
    ERR_clear_error();
    require(sk_X509_num(chain.get()) == chainLength, "raw chain");
    return chain;
}

void chainTextRaw(benchmark::State& state) {
    const std::string& pem = chainPem();
    for (auto _ : state) {
        const Owned<BIO> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
        benchmark::DoNotOptimize(rawChain(bio.get()));
    }
}

void chainTextOurs(benchmark::State& state) {
    const std::string& pem = chainPem();
    for (auto _ : state) {
        const CmnCrypto::X509CertChain chain(pem, CmnCrypto::INIT_TYPE_BLOB);
        require(chain.getCertChainLength() == chainLength, "chain");
    }
}

/** The chain in a file that goes with the object. */
class ChainFile {
public:
    ChainFile()
        : m_path(std::filesystem::temp_directory_path() / ("cmncrypto_bench." + std::to_string(getpid()) + ".pem")) {
        std::ofstream(m_path) << chainPem();
    }
    ~ChainFile() { std::filesystem::remove(m_path); }
    ChainFile(const ChainFile&) = delete;
    ChainFile& operator=(const ChainFile&) = delete;
    const std::string& path() const { return m_path; }

private:
    std::string m_path;
};

void chainFileRaw(benchmark::State& state) {
    const ChainFile file;
    for (auto _ : state) {
        const Owned<BIO> bio(BIO_new_file(file.path().c_str(), "rb"));
        benchmark::DoNotOptimize(rawChain(bio.get()));
    }
}

void chainFileOurs(benchmark::State& state) {
    const ChainFile file;
    for (auto _ : state) {
        const CmnCrypto::X509CertChain chain(file.path(), CmnCrypto::INIT_TYPE_PATH);
        require(chain.getCertChainLength() == chainLength, "chain");
    }
}

} // namespace

COUNTED_PAIR("certificate from PEM, with four questions", certificateRaw, certificateOurs, 200)
COUNTED_PAIR("chain of 100 certificates from PEM text", chainTextRaw, chainTextOurs, 2)
COUNTED_PAIR("chain of 100 certificates from a PEM file", chainFileRaw, chainFileOurs, 2)
