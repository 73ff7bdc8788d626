#include "CrlRaw.h"

#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <openssl/pem.h>
#include <openssl/x509_vfy.h>

#include "CrlMaterial.h"
#include "Pairs.h"

namespace {

constexpr char pemBegin[] = "-----BEGIN X509 CRL-----\n";
constexpr char pemEnd[] = "-----END X509 CRL-----\n";
constexpr size_t lineBytes = 48;

Owned<STACK_OF(X509_INFO)> objectsOf(const std::string& pem) {
    const Owned<BIO> bio(BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())));
    Owned<STACK_OF(X509_INFO)> objects(PEM_X509_INFO_read_bio(bio.get(), nullptr, nullptr, nullptr));
    require(objects != nullptr, "reading PEM objects");
    return objects;
}

Owned<STACK_OF(X509)> certificatesOf(const std::string& pem) {
    const Owned<STACK_OF(X509_INFO)> objects = objectsOf(pem);
    Owned<STACK_OF(X509)> certificates(sk_X509_new_null());
    for (int i = 0; i < sk_X509_INFO_num(objects.get()); ++i) {
        sk_X509_push(certificates.get(), std::exchange(sk_X509_INFO_value(objects.get(), i)->x509, nullptr));
    }
    return certificates;
}

Owned<STACK_OF(X509_CRL)> listsOf(const std::string& pem) {
    const Owned<STACK_OF(X509_INFO)> objects = objectsOf(pem);
    Owned<STACK_OF(X509_CRL)> lists(sk_X509_CRL_new_null());
    for (int i = 0; i < sk_X509_INFO_num(objects.get()); ++i) {
        sk_X509_CRL_push(lists.get(), std::exchange(sk_X509_INFO_value(objects.get(), i)->crl, nullptr));
    }
    return lists;
}

} // namespace

Owned<X509_CRL> rawFromDer(const unsigned char* der, size_t length) {
    Owned<X509_CRL> crl(d2i_X509_CRL(nullptr, &der, static_cast<long>(length)));
    require(crl != nullptr, "raw DER");
    return crl;
}

Owned<X509_CRL> rawFromDerFile(const std::string& path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat status {};
    require(file >= 0 && fstat(file, &status) == 0, "opening a list");
    const auto length = static_cast<size_t>(status.st_size);
    const std::unique_ptr<unsigned char[]> der(new unsigned char[length]);
    require(read(file, der.get(), length) == static_cast<ssize_t>(length), "reading a list");
    close(file);
    return rawFromDer(der.get(), length);
}

Owned<X509_CRL> rawFromPem(BIO* pem) {
    Owned<X509_CRL> crl(PEM_read_bio_X509_CRL(pem, nullptr, nullptr, nullptr));
    require(crl != nullptr, "raw PEM");
    return crl;
}

RawForms::RawForms(const BinaryData& given)
    : m_der(given), m_crl(rawFromDer(m_der.data(), m_der.size())),
      m_pemLength(sizeof pemBegin - 1 + (m_der.size() + 2) / 3 * 4 + (m_der.size() + lineBytes - 1) / lineBytes +
                  sizeof pemEnd - 1),
      m_pem(new char[m_pemLength + 1]) {
    char* out = m_pem.get();
    out = static_cast<char*>(mempcpy(out, pemBegin, sizeof pemBegin - 1));
    for (size_t done = 0; done < m_der.size(); done += lineBytes) {
        const size_t piece = std::min(lineBytes, m_der.size() - done);
        out += EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out), m_der.data() + done, static_cast<int>(piece));
        *out++ = '\n'; // where EVP_EncodeBlock() has put its NUL
    }
    std::memcpy(out, pemEnd, sizeof pemEnd);
}

bool rawVerify(X509_CRL* crl) {
    return X509_CRL_verify(crl, X509_get0_pubkey(listPki().issuer.get())) == 1;
}

bool rawWalk(X509_CRL* crl, const X509* certificate) {
    const ASN1_INTEGER* const serial = X509_get0_serialNumber(certificate);
    const STACK_OF(X509_REVOKED)* const entries = X509_CRL_get_REVOKED(crl);
    const int count = sk_X509_REVOKED_num(entries);
    for (int i = 0; i < count; ++i) {
        if (ASN1_INTEGER_cmp(X509_REVOKED_get0_serialNumber(sk_X509_REVOKED_value(entries, i)), serial) == 0) {
            return true;
        }
    }
    return false;
}

bool rawLookUp(X509_CRL* crl, const X509* certificate) {
    X509_REVOKED* entry = nullptr;
    return X509_CRL_get0_by_serial(crl, &entry, X509_get0_serialNumber(certificate)) == 1;
}

int rawVerifyChain(const std::string& trustedPem, const std::string& listsPem, const std::string& chainPem) {
    const Owned<STACK_OF(X509)> trusted = certificatesOf(trustedPem);
    const Owned<STACK_OF(X509_CRL)> lists = listsOf(listsPem);
    const Owned<STACK_OF(X509)> chain = certificatesOf(chainPem);
    const Owned<X509_STORE> store(X509_STORE_new());
    const Owned<X509_STORE_CTX> context(X509_STORE_CTX_new());
    X509_STORE_set_flags(store.get(), X509_V_FLAG_CRL_CHECK | X509_V_FLAG_CRL_CHECK_ALL);
    require(X509_STORE_CTX_init(context.get(), store.get(), sk_X509_value(chain.get(), 0), chain.get()) == 1,
            "the raw context");
    X509_STORE_CTX_set0_crls(context.get(), lists.get());
    X509_STORE_CTX_set0_trusted_stack(context.get(), trusted.get());
    require(X509_verify_cert(context.get()) == 1, "the raw chain");
    const Owned<STACK_OF(X509)> built(X509_STORE_CTX_get1_chain(context.get()));
    return sk_X509_num(built.get());
}
