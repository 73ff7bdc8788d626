// Certificate requests (RFC 2986).

#include "cmncrypto/X509PrivateKey.h"
#include "frame/Failure.h"
#include "ossl/Algorithms.h"
#include "ossl/ErrorQueue.h"

namespace CmnCrypto {

namespace {

constexpr const char* csrTag = "X509PrivateKey::getCSR";

[[noreturn]] void failRequest(const char* text) {
    fail(csrTag, text, CmnException::noCode);
}

/** Callers catch these three as plain strings, apart from all other failures. */
[[noreturn]] void failAsString(const char* text) {
    clogmsg(logFailure, csrTag, "%s", text);
    throw std::string(text);
}

void setSubject(X509_REQ* request, const std::string& commonName, bool hasAlternativeNames) {
    const OpenSslPtr<X509_NAME> name(X509_NAME_new());
    if (!name) {
        failRequest("Failed to create X509_NAME object");
    }
    if (commonName.empty() && !hasAlternativeNames) {
        failAsString("CommonName and SubjectAltName is empty.");
    }
    // Callers recognise a request for alternative names alone by this subject.
    const auto* text = reinterpret_cast<const unsigned char*>(commonName.empty() ? "/" : commonName.c_str());
    if (X509_NAME_add_entry_by_txt(name.get(), "CN", MBSTRING_ASC, text, -1, -1, 0) != 1) {
        failRequest("Error adding host name in subject.");
    }
    if (X509_REQ_set_subject_name(request, name.get()) != 1) {
        failRequest("Error adding subject to request");
    }
}

void addAlternativeNames(X509_REQ* request, const std::string& names) {
    // A context without a database: kinds of names that refer to a section of it are refused instead of crashing.
    X509V3_CTX context;
    X509V3_set_ctx(&context, nullptr, nullptr, nullptr, nullptr, 0);
    X509V3_set_ctx_nodb(&context);
    OpenSslPtr<X509_EXTENSION> extension(X509V3_EXT_conf_nid(nullptr, &context, NID_subject_alt_name, names.c_str()));
    if (!extension) {
        failAsString("Error configuring Name Identifier in CSR extension.");
    }
    const OpenSslPtr<STACK_OF(X509_EXTENSION)> extensions(sk_X509_EXTENSION_new_null());
    if (!extensions || sk_X509_EXTENSION_push(extensions.get(), extension.get()) == 0) {
        failAsString("Error adding SubjectAlternativeNames extension to request.");
    }
    static_cast<void>(extension.release());
    if (X509_REQ_add_extensions(request, extensions.get()) != 1) {
        failAsString("Error adding SubjectAlternativeNames extension to request.");
    }
}

std::string pemOf(X509_REQ* request) {
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    if (!bio || PEM_write_bio_X509_REQ(bio.get(), request) != 1) {
        failRequest("Error while writing request");
    }
    const char* text = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &text);
    if (length <= 0) {
        failRequest("Failed to get CSR buffer");
    }
    return {text, static_cast<size_t>(length)};
}

} // namespace

std::string X509PrivateKey::getCSR(const std::string& commonName, const std::string& subjectAltNames) const {
    const ossl::ErrorScope errors;
    clogmsg(logTrace, csrTag, "Generating CSR for the commonName %s", commonName.c_str());
    if (!subjectAltNames.empty()) {
        clogmsg(logTrace, csrTag, "Generating CSR for the SubjectAlternativeNames %s", subjectAltNames.c_str());
    }
    const OpenSslPtr<X509_REQ> request(X509_REQ_new());
    if (!request) {
        failRequest("Failed to create X509_REQ object");
    }
    const bool hasKey = m_key != nullptr && X509_REQ_set_pubkey(request.get(), m_key) == 1;
    setSubject(request.get(), commonName, !subjectAltNames.empty());
    if (!subjectAltNames.empty()) {
        addAlternativeNames(request.get(), subjectAltNames);
    }
    constexpr const char* algorithm = "SHA512"; // whatever other settings say
    clogmsg(logTrace, csrTag, "Generating CSR with hash algo [%s]", algorithm);
    const EVP_MD* const digest = ossl::digest(ossl::Digest::sha512);
    // Without a digest OpenSSL would take one of its own choice.
    if (!hasKey || digest == nullptr || X509_REQ_sign(request.get(), m_key, digest) == 0) {
        failRequest("Error in signing request");
    }
    std::string text = pemOf(request.get());
    clogmsg(logTrace, csrTag, "Generated CSR as %s for commonName %s", text.c_str(), commonName.c_str());
    return text;
}

} // namespace CmnCrypto
