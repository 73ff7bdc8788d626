#include "cmncrypto/CrlUtil.h"

#include <cstdio>
#include <new>
#include <optional>

#include "cmncrypto/CmnApi.h"
#include "cmncrypto/X509CertChain.h"
#include "frame/Clock.h"
#include "frame/Failure.h"
#include "ossl/AsnTime.h"
#include "ossl/ErrorQueue.h"
#include "revocation/OpenSslErrorLog.h"

// A format is a literal of this file, with its one "%s".
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

using namespace CmnCrypto;

namespace {

constexpr const char* certificatesTag = "CrlUtil::getX509CertsToGetCrlsFor()";
constexpr int codeOtherVerifyError = 9104;

struct VerifyErrorRow {
    int verifyError;
    int status;
};

constexpr VerifyErrorRow verifyErrors[] = {
    {X509_V_OK, 0},
    {X509_V_ERR_UNABLE_TO_GET_CRL, 9327},
    {X509_V_ERR_UNABLE_TO_DECRYPT_CRL_SIGNATURE, 9328},
    {X509_V_ERR_CRL_SIGNATURE_FAILURE, 9329},
    {X509_V_ERR_CRL_NOT_YET_VALID, 9330},
    {X509_V_ERR_CRL_HAS_EXPIRED, 9314},
    {X509_V_ERR_ERROR_IN_CRL_LAST_UPDATE_FIELD, 9331},
    {X509_V_ERR_ERROR_IN_CRL_NEXT_UPDATE_FIELD, 9332},
    {X509_V_ERR_CERT_REVOKED, 9318},
    {X509_V_ERR_UNABLE_TO_GET_CRL_ISSUER, 9333},
    {X509_V_ERR_KEYUSAGE_NO_CRL_SIGN, 9334},
    {X509_V_ERR_UNHANDLED_CRITICAL_CRL_EXTENSION, 9335},
    {X509_V_ERR_DIFFERENT_CRL_SCOPE, 9336},
    {X509_V_ERR_CRL_PATH_VALIDATION_ERROR, 9337},
};

int failure(const char* text, int code) {
    clogmsg(logFailure, certificatesTag, "%s", text);
    return code;
}

int leafAlone(const std::string& pemChain, STACK_OF(X509)** certificates) {
    const X509CertChain chain(pemChain, INIT_TYPE_BLOB, true);
    X509* const leaf = (*chain.getCertChainBegin())->getX509();
    OpenSslPtr<STACK_OF(X509)> stack(sk_X509_new_null());
    if (!stack) {
        return failure("Failed to allocate memory for lc_x509Certs", codeNoMemory);
    }
    if (sk_X509_push(stack.get(), leaf) == 0) {
        return failure("sk_X509_push() failed to push X509 cert", codeStackRefused);
    }
    X509_up_ref(leaf); // for the stack, which outlives the chain
    *certificates = stack.release();
    return 0;
}

int wholeChain(const std::string& pemChain, STACK_OF(X509)** certificates) {
    *certificates = X509CertChain(pemChain, INIT_TYPE_BLOB).getX509CertificateStack();
    return 0;
}

/** Takes the certificates with @p take. @param failedFormat what is logged with an exception's text */
int takeCertificates(int (*take)(const std::string&, STACK_OF(X509)**), const char* failedFormat,
                     const std::string& pemChain, STACK_OF(X509)** certificates) noexcept {
    try {
        CmnApi::initOpenssl();
        const ossl::ErrorScope errors;
        return take(pemChain, certificates);
    } catch (const CmnException& exception) {
        clogmsg(logFailure, certificatesTag, failedFormat, exception.what());
        return codeChainUnusable;
    } catch (const std::bad_alloc&) {
        return failure("Failed to allocate memory for lc_x509Certs", codeNoMemory);
    }
}

} // namespace

int CrlUtil::getX509CertsToGetCrlsFor(const std::string& pemChain, crl_check_level level,
                                      STACK_OF(X509)** certificates) {
    if (pemChain.empty()) {
        return failure("Input certChain found empty", codeInvalidArgument);
    }
    if (level == CRL_CHECK_DISABLED) {
        return failure("Input crlCheckLevel found DISABLED", codeInvalidArgument);
    }
    if (certificates == nullptr) {
        return failure("Input x509Certs found NULL", codeInvalidArgument);
    }
    switch (level) {
    case CRL_CHECK_LEAF:
        return takeCertificates(leafAlone, "Failed to get x509 leaf cert from the PEM cert chain with error: %s",
                                pemChain, certificates);
    case CRL_CHECK_CHAIN:
        return takeCertificates(wholeChain, "Failed to get x509 certs from the PEM cert chain with error: %s", pemChain,
                                certificates);
    default:
        return failure("Unsupported value provided for crlCheckLevel", codeInvalidArgument);
    }
}

std::string CrlUtil::getCertIssuerNameHashInHex(X509* certificate) {
    if (certificate == nullptr) {
        return {};
    }
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    char text[2 * sizeof(unsigned long) + 1];
    std::snprintf(text, sizeof text, "%lx", X509_issuer_name_hash(certificate)); // NOLINT(cert-err33-c): it fits
    return text;
}

std::string CrlUtil::getCertSerialNumberInHex(X509* certificate) try {
    if (certificate == nullptr) {
        return {};
    }
    const ossl::ErrorScope errors;
    const OpenSslPtr<BIGNUM> number(ASN1_INTEGER_to_BN(X509_get0_serialNumber(certificate), nullptr));
    const OpenSslPtr<char> text(number ? BN_bn2hex(number.get()) : nullptr);
    return text ? text.get() : "";
} catch (const std::bad_alloc&) {
    return {};
}

int CrlUtil::getCrlQxuStatusFromSSLerr(int verifyError) {
    for (const VerifyErrorRow& row : verifyErrors) {
        if (row.verifyError == verifyError) {
            return row.status;
        }
    }
    return codeOtherVerifyError;
}

bool CrlUtil::isCrlExpired(X509_CRL* crl) {
    const ossl::ErrorScope errors;
    const ASN1_TIME* const nextUpdate = crl == nullptr ? nullptr : X509_CRL_get0_nextUpdate(crl);
    const std::optional<TimeDifference> since = timeBetween(nextUpdate, asnTime(now()).get());
    return !since || (since->days >= 0 && since->seconds >= 0); // no readable nextUpdate: expired
}

void CrlUtil::logOpenSSLErrors(const char* function) {
    logOpenSslError(function, ERR_peek_last_error());
}
