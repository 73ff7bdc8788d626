// The dates of a certificate.

#include "cmncrypto/X509Certificate.h"
#include "frame/Clock.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"
#include "x509/CertificateHeld.h"
#include "x509/NameText.h"

namespace CmnCrypto {

namespace {

struct Difference {
    int days = 0;
    int seconds = 0;
};

/** From @p time to a date of a certificate. @return false when there is no such date or no memory */
bool difference(std::time_t time, const ASN1_TIME* date, Difference& result) {
    const OpenSslPtr<ASN1_TIME> from(ASN1_TIME_set(nullptr, time));
    // OpenSSL would take a null date as the present.
    return from && date != nullptr && ASN1_TIME_diff(&result.days, &result.seconds, from.get(), date) == 1;
}

const ASN1_TIME* expiryOf(const X509* certificate) {
    return certificate == nullptr ? nullptr : X509_get0_notAfter(certificate);
}

const ASN1_TIME* startOf(const X509* certificate) {
    return certificate == nullptr ? nullptr : X509_get0_notBefore(certificate);
}

/** The subject for a message, empty where nobody listens. */
std::string subjectForLog(const X509* certificate) {
    return isLogged() ? nameText(X509_get_subject_name(certificate), NAME_FORMAT_ONELINE) : std::string();
}

} // namespace

std::string X509Certificate::getStartDate() const {
    return getCertitifcateDate(CERT_DATE_START);
}

std::string X509Certificate::getExpiryDate() const {
    return getCertitifcateDate(CERT_DATE_EXPIRY);
}

std::string X509Certificate::getCertitifcateDate(CertDate date) const {
    constexpr const char* function = "X509Certificate::getCertitifcateDate";
    const ossl::ErrorScope errors;
    if (date != CERT_DATE_EXPIRY && date != CERT_DATE_START) {
        fail(function, "Unknown date type", CmnException::noCode);
    }
    const X509* certificate = heldCertificate(m_certificate, function);
    const ASN1_TIME* time = date == CERT_DATE_EXPIRY ? expiryOf(certificate) : startOf(certificate);
    const OpenSslPtr<BIO> bio(BIO_new(BIO_s_mem()));
    if (!bio) {
        fail(function, "Failed to allocate BIO", codeNoMemory);
    }
    ASN1_TIME_print(bio.get(), time); // of a malformed date it writes that it is one
    const char* text = nullptr;
    const long length = BIO_get_mem_data(bio.get(), &text);
    return {text, length > 0 ? static_cast<size_t>(length) : 0};
}

int64_t X509Certificate::getExpiryDateEPOC() const {
    const ossl::ErrorScope errors;
    Difference sinceEpoch;
    if (!difference(0, expiryOf(m_certificate), sinceEpoch)) {
        fail("X509Certificate::getExpiryDateEPOC",
             "Failed to retrieve the expiry date of the certificate in epoch format.",
             "Failed to retrieve the expiry date of the certificate in epoch format", codeDateUnreadable);
    }
    // 32 bits on purpose: callers compare with numbers that wrap after 2038 in the same way.
    const uint32_t seconds =
        static_cast<uint32_t>(sinceEpoch.days) * 86400U + static_cast<uint32_t>(sinceEpoch.seconds);
    return static_cast<int32_t>(seconds);
}

bool X509Certificate::isCertExpired() const {
    constexpr const char* function = "X509Certificate::isCertExpired";
    const ossl::ErrorScope errors;
    Difference left;
    if (!difference(now(), expiryOf(m_certificate), left)) {
        fail(function, "Failed to check certificate notAfter validity.", codeDateUnreadable);
    }
    if (left.days >= 0 && left.seconds >= 0) {
        return false;
    }
    clogmsg(logFailure, function, "Local certifciate with subject [%s] is expired.",
            subjectForLog(m_certificate).c_str());
    return true;
}

bool X509Certificate::isCertValidNow() const {
    constexpr const char* function = "X509Certificate::isCertValidNow";
    const ossl::ErrorScope errors;
    Difference left;
    if (!difference(now(), startOf(m_certificate), left)) {
        fail(function, "Failed to check certificate notbefore validity.", codeDateUnreadable);
    }
    if (left.days <= 0 && left.seconds <= 0) {
        return true;
    }
    clogmsg(logFailure, function, "Local certifciate with subject [%s] is not yet valid.",
            subjectForLog(m_certificate).c_str());
    return false;
}

} // namespace CmnCrypto
