// The decision whether a certificate is revoked.

#include <cinttypes>
#include <cstdio>
#include <memory>
#include <new>
#include <optional>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/Crl.h"
#include "cmncrypto/X509CertChain.h"
#include "frame/Clock.h"
#include "frame/Failure.h"
#include "ossl/AsnTime.h"
#include "ossl/ErrorQueue.h"
#include "revocation/RevokedEntry.h"

using namespace CmnCrypto;

namespace {

constexpr int secondsPerDay = 86400;

/** Logs OpenSSL's errors and a text, and throws the text. */
[[noreturn]] void failUnusable(const char* function, const char* text) {
    logSslError(function);
    fail(function, text, codeRevocationData);
}

/** @return "0x" and the serial number; null when memory is short */
std::unique_ptr<char[]> serialNumberText(const X509Certificate& certificate) {
    const std::string serial = certificate.getSerialNumber();
    const size_t size = serial.size() + 3;
    std::unique_ptr<char[]> text(new (std::nothrow) char[size]);
    if (text) {
        std::snprintf(text.get(), size, "0x%s", serial.c_str()); // NOLINT(cert-err33-c): it fits
    }
    return text;
}

/** @return when an entry says that the certificate was revoked, in seconds since 1970 */
int32_t revocationTime(const X509_REVOKED* entry, const char* function) {
    const OpenSslPtr<ASN1_TIME> epoch = asnTime(0);
    if (!epoch) {
        fail(function, "Unable to set ASN1_TIME struct", codeRevocationMemory);
    }
    const std::optional<TimeDifference> since = timeBetween(epoch.get(), X509_REVOKED_get0_revocationDate(entry));
    if (!since) {
        fail(function, "Unable to determine time diff", codeRevocationData);
    }
    return static_cast<int32_t>(int64_t{since->days} * secondsPerDay + since->seconds);
}

} // namespace

CCRYPTStatus Crl::checkCertRevokeStatus(X509CertChain* caBundle, unsigned int maxAgeSeconds,
                                        X509Certificate* certificate, RevokeInfo* info) const {
    constexpr const char* function = "Crl::checkCertRevokeStatus";
    const ossl::ErrorScope errors;
    if (caBundle == nullptr || certificate == nullptr || info == nullptr) {
        fail(function, "Failed to find correct arguments", codeRevocationArgument);
    }
    if (m_x509Crl && X509_CRL_get_ext_by_NID(m_x509Crl.get(), NID_delta_crl, -1) >= 0) {
        fail(function, "Certificate Revocation List provided is invalid. Delta CRLs are not supported",
             codeRevocationData);
    }
    clogmsg(logInfo, function, "Successfully read CRL file into memory");
    if (checkCrlSignAuth(caBundle) != CCRYPT_SUCCESS) {
        fail(function, "No matching signing authority found in ca bundle for CRL", codeRevocationData);
    }
    CCRYPTStatus status = isStaleCrl(maxAgeSeconds);
    if (status != CCRYPT_SUCCESS) {
        clogmsg(logFailure, function, "CRL is stale");
    } else {
        status = getCertRevokeState(certificate, info);
    }
    if (status != CCRYPT_SUCCESS) {
        logSslError(function);
    }
    return status;
}

CCRYPTStatus Crl::checkCrlSignAuth(X509CertChain* caBundle) const {
    constexpr const char* function = "Crl::checkCrlSignAuth";
    if (caBundle == nullptr) {
        fail(function, "Failed to find correct arguments", codeRevocationArgument);
    }
    const size_t count = caBundle->getCertChainLength();
    if (count < 1) {
        clogmsg(logInfo, function, "SSL Error : %s", drainSslErrors().c_str());
    }
    clogmsg(logInfo, function, "Found %d INFO_num", static_cast<int>(count));
    if (count < 1) {
        return CCRYPT_CRL_VERIFY_ERROR;
    }
    if (!m_x509Crl) {
        clogmsg(logWarning, function, "m_x509Crl is NULL. Cannot verify signature.");
        return CCRYPT_CRL_VERIFY_ERROR;
    }
    // Where the certificate is, not a copy of it: parsing that and its key again costs several signature checks.
    const X509* const issuer = (*caBundle->getCertChainBegin())->getX509();
    if (issuer == nullptr) {
        failUnusable(function, "Failed to extract single certificate from certificate bundle");
    }
    EVP_PKEY* const key = X509_get0_pubkey(issuer);
    if (key == nullptr) {
        failUnusable(function, "Failed to extract public key from a root certificate");
    }
    const int result = X509_CRL_verify(m_x509Crl.get(), key);
    if (result == 1) {
        return CCRYPT_SUCCESS;
    }
    const std::string reason = drainSslErrors();
    if (result < 0) {
        clogmsg(logFailure, function, "Unable to verify CRL against public key");
    }
    clogmsg(logFailure, function, "SSL Error : %s", reason.c_str());
    return result == 0 ? CCRYPT_CRL_SIGNATURE_FAILURE : CCRYPT_CRL_VERIFY_ERROR;
}

CCRYPTStatus Crl::isStaleCrl(unsigned int maxAgeSeconds) const {
    constexpr const char* function = "Crl::isStaleCrl";
    const ASN1_TIME* const lastUpdate = getLastUpdate();
    if (lastUpdate == nullptr) {
        fail(function, "Failed to get last CRL update", codeRevocationData);
    }
    // In days and seconds, as a negated unsigned number is a large positive one where long is wider.
    const OpenSslPtr<ASN1_TIME> limit(ASN1_TIME_adj(nullptr, now(), -static_cast<int>(maxAgeSeconds / secondsPerDay),
                                                    -static_cast<long>(maxAgeSeconds % secondsPerDay)));
    if (!limit) {
        fail(function, "Failed to perform ASN1_TIME adjustment", codeRevocationData);
    }
    const std::optional<TimeDifference> beyond = timeBetween(lastUpdate, limit.get());
    if (!beyond) {
        fail(function, "Unable to determine time diff", codeRevocationData);
    }
    // A whole number of days beyond the limit is not stale: the product has always decided so.
    if (beyond->days < 0 || beyond->seconds <= 0) {
        return CCRYPT_SUCCESS;
    }
    logSslError(function);
    return CCRYPT_CRL_STALE;
}

CCRYPTStatus Crl::getCertRevokeState(X509Certificate* certificate, RevokeInfo* info) const {
    constexpr const char* function = "Crl::getCertRevokeState";
    if (certificate == nullptr || info == nullptr) {
        fail(function, "Failed to find correct arguments", codeRevocationArgument);
    }
    const X509* const x509 = certificate->getX509();
    const ASN1_INTEGER* const serial = x509 == nullptr ? nullptr : X509_get0_serialNumber(x509);
    if (serial == nullptr) {
        fail(function, "Unable to get serial number from cert", codeRevocationData);
    }
    X509_REVOKED* entry = nullptr;
    if (findEntry(serial, &entry) != 1) {
        clogmsg(logInfo, function, "Certificate is not revoked.");
        return CCRYPT_SUCCESS;
    }
    clogmsg(logInfo, function, "Certificate is revoked");
    const int32_t reason = reasonOf(entry);
    clogmsg(logInfo, function, "Certificate is revoked, reason = %" PRId32, reason);
    std::unique_ptr<char[]> serialNumber = serialNumberText(*certificate);
    if (!serialNumber) {
        fail(function, "Unable to alloc string for revoked serial number", codeRevocationMemory);
    }
    info->revocationTime = revocationTime(entry, function);
    info->reason = reason;
    info->serialNumber = serialNumber.release();
    logSslError(function);
    return CCRYPT_CERT_REVOKED;
}

/**
 * OpenSSL sorts a list when it is first asked for an entry, which takes as long as reading it. One look at every entry
 * is far cheaper; it is the second question that makes sorting worth its price.
 */
int Crl::findEntry(const ASN1_INTEGER* serial, X509_REVOKED** entry) const {
    if (!m_x509Crl) {
        return 0;
    }
    const bool first = !m_searched;
    m_searched = true;
    return first ? findRevokedInOrder(m_x509Crl.get(), serial, entry)
                 : X509_CRL_get0_by_serial(m_x509Crl.get(), entry, serial);
}
