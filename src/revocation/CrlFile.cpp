#include "revocation/CrlFile.h"

#include <algorithm>
#include <climits>
#include <memory>

#include "frame/Failure.h"
#include "frame/FileSystem.h"
#include "x509/PassPhrase.h"

namespace CmnCrypto {

namespace {

constexpr long largestCollected = 256L * 1024 * 1024;

/** Reads until @p size bytes have come or the BIO has ended. @return how many have come */
long readFully(BIO* bio, unsigned char* out, long size) {
    long total = 0;
    int count = 1;
    while (total < size && count > 0) {
        count = BIO_read(bio, out + total, static_cast<int>(std::min<long>(size - total, INT_MAX)));
        total += std::max(count, 0);
    }
    return total;
}

OpenSslPtr<X509_CRL> parse(const unsigned char* der, long length) {
    return OpenSslPtr<X509_CRL>(d2i_X509_CRL(nullptr, &der, length));
}

} // namespace

int CrlFile::open(const std::string& path) {
    if (m_collected) {
        const char* data = nullptr;
        const long length = BIO_get_mem_data(m_collected.get(), &data);
        m_file.reset(BIO_new_mem_buf(data == nullptr ? "" : data, static_cast<int>(length)));
        return m_file ? 0 : codeNoMemory;
    }
    m_file.reset(BIO_new(BIO_s_file()));
    if (!m_file) {
        return codeNoMemory;
    }
    if (BIO_read_filename(m_file.get(), path.c_str()) <= 0) {
        return codeReadFailed;
    }
    m_size = regularFileSize(path);
    return m_size > 0 ? 0 : collect();
}

int CrlFile::collect() {
    OpenSslPtr<BIO> bytes(BIO_new(BIO_s_mem()));
    if (!bytes) {
        return codeNoMemory;
    }
    unsigned char piece[16384];
    long total = 0;
    int count = 0;
    while (total < largestCollected && (count = BIO_read(m_file.get(), piece, sizeof piece)) > 0) {
        if (BIO_write(bytes.get(), piece, count) != count) {
            return codeNoMemory;
        }
        total += count;
    }
    m_collected = std::move(bytes);
    return open({});
}

OpenSslPtr<X509_CRL> CrlFile::readDer() {
    return m_size > 0 ? readSizedDer() : OpenSslPtr<X509_CRL>(d2i_X509_CRL_bio(m_file.get(), nullptr));
}

/** d2i_X509_CRL_bio() would copy a long list several times while its buffer grows. */
OpenSslPtr<X509_CRL> CrlFile::readSizedDer() {
    unsigned char header[256] = {}; // longer than any length field that OpenSSL takes
    const long got = readFully(m_file.get(), header, sizeof header);
    const unsigned char* content = header;
    long length = 0;
    int tag = 0;
    int tagClass = 0;
    const long size = static_cast<long>(std::min<uintmax_t>(m_size, LONG_MAX));
    const int form = header[0] == (V_ASN1_SEQUENCE | V_ASN1_CONSTRUCTED)
                         ? ASN1_get_object(&content, &length, &tag, &tagClass, size)
                         : V_ASN1_CONSTRUCTED;
    const bool endless = (form & 0x81) == 1;
    if (endless) {
        return BIO_seek(m_file.get(), 0) == 0 ? OpenSslPtr<X509_CRL>(d2i_X509_CRL_bio(m_file.get(), nullptr)) : nullptr;
    }
    const long total = (form & 0x80) == 0 ? static_cast<long>(content - header) + length : 0;
    if (total <= got) {
        return parse(header, got); // a short list, or no list, which OpenSSL says better
    }
    const std::unique_ptr<unsigned char[]> der(new unsigned char[static_cast<size_t>(total)]);
    std::copy_n(header, got, der.get());
    return parse(der.get(), got + readFully(m_file.get(), der.get() + got, total - got));
}

OpenSslPtr<X509_CRL> CrlFile::readPem() {
    return OpenSslPtr<X509_CRL>(PEM_read_bio_X509_CRL(m_file.get(), nullptr, refusePassPhrase, nullptr));
}

} // namespace CmnCrypto
