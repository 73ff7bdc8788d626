#include <openssl/x509_vfy.h>

#include "cmncrypto/cmncrypto.h"
#include "frame/Logging.h"

namespace {

struct Row {
    int code;
    int verifyError;
};

constexpr Row rows[] = {
    {0, X509_V_OK},
    {1, X509_V_ERR_UNABLE_TO_GET_CRL_ISSUER},
    {3, X509_V_ERR_CERT_REVOKED},
    {4, X509_V_ERR_CRL_HAS_EXPIRED},
    {6, X509_V_ERR_CRL_SIGNATURE_FAILURE},
    {7, X509_V_ERR_UNABLE_TO_GET_CRL},
    {8, X509_V_ERR_CRL_NOT_YET_VALID},
    {10, X509_V_ERR_KEYUSAGE_NO_CRL_SIGN},
};

int verifyErrorOf(int code) {
    for (const Row& row : rows) {
        if (row.code == code) {
            return row.verifyError;
        }
    }
    return X509_V_ERR_UNSPECIFIED;
}

} // namespace

int cmncrypto_getSSLVerifyErrorCode(int code) {
    const int verifyError = verifyErrorOf(code);
    clogmsg(CmnCrypto::logInfo, "cmncrypto_getSSLVerifyErrorCode",
            "Translating Quorvex code [%d] SSL verification code [%d]", code, verifyError);
    return verifyError;
}
