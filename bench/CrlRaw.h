#ifndef CMNCRYPTO_BENCH_CRLRAW_H
#define CMNCRYPTO_BENCH_CRLRAW_H

// OpenSSL's side of the jobs with revocation lists, called as someone would who knows where its time goes: no BIO that
// grows, no copy of an object, no sorting for a single question.

#include <memory>
#include <string>

#include "Material.h"
#include "cmncrypto/CrlConverter.h"

Owned<X509_CRL> rawFromDer(const unsigned char* der, size_t length);
/** Reads the file in one piece. */
Owned<X509_CRL> rawFromDerFile(const std::string& path);
Owned<X509_CRL> rawFromPem(BIO* pem);

/** A copy of the DER, the object, and the PEM text written line by line where it stays. */
class RawForms {
public:
    explicit RawForms(const BinaryData& given);
    std::string pemText() const { return {m_pem.get(), m_pemLength}; }

private:
    BinaryData m_der;
    Owned<X509_CRL> m_crl;
    size_t m_pemLength;
    std::unique_ptr<char[]> m_pem;
};

/** @return whether the lists' issuer has signed the list */
bool rawVerify(X509_CRL* crl);
/** @return whether the certificate is on the list, looking at each entry */
bool rawWalk(X509_CRL* crl, const X509* certificate);
/** @return whether the certificate is on the list, by OpenSSL's call, which sorts the list when it is first called */
bool rawLookUp(X509_CRL* crl, const X509* certificate);

/** Verifies a chain out of PEM texts, with lists for all of it. @return the length of the chain that was built */
int rawVerifyChain(const std::string& trustedPem, const std::string& listsPem, const std::string& chainPem);

#endif
