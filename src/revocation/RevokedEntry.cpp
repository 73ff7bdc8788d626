#include "revocation/RevokedEntry.h"

namespace CmnCrypto {

namespace {

/**
 * @return whether one of the first @p count entries names another issuer, which then holds for those behind it, too
 *         (RFC 5280, 5.3.3)
 */
bool isIndirect(const STACK_OF(X509_REVOKED)* entries, int count) {
    for (int i = 0; i < count; ++i) {
        const X509_REVOKED* const entry = sk_X509_REVOKED_value(entries, i);
        if (X509_REVOKED_get0_extensions(entry) != nullptr &&
            X509_REVOKED_get_ext_by_NID(entry, NID_certificate_issuer, -1) >= 0) {
            return true;
        }
    }
    return false;
}

/** @return whether an entry revokes, whatever its extensions are */
bool isPlain(const X509_REVOKED* entry) {
    return X509_REVOKED_get_ext_by_NID(entry, NID_crl_reason, -1) < 0 ||
           (reasonOf(entry) >= 0 && reasonOf(entry) != CRL_REASON_REMOVE_FROM_CRL);
}

} // namespace

int32_t reasonOf(const X509_REVOKED* entry) {
    const OpenSslPtr<ASN1_ENUMERATED> reason(
        static_cast<ASN1_ENUMERATED*>(X509_REVOKED_get_ext_d2i(entry, NID_crl_reason, nullptr, nullptr)));
    return reason ? static_cast<int32_t>(ASN1_ENUMERATED_get(reason.get())) : CRL_REASON_NONE;
}

int findRevokedInOrder(X509_CRL* crl, const ASN1_INTEGER* serial, X509_REVOKED** entry) {
    STACK_OF(X509_REVOKED)* const entries = X509_CRL_get_REVOKED(crl);
    if (sk_X509_REVOKED_is_sorted(entries) != 0) {
        return X509_CRL_get0_by_serial(crl, entry, serial);
    }
    const int count = sk_X509_REVOKED_num(entries); // -1 without any
    for (int i = 0; i < count; ++i) {
        X509_REVOKED* const candidate = sk_X509_REVOKED_value(entries, i);
        if (ASN1_INTEGER_cmp(X509_REVOKED_get0_serialNumber(candidate), serial) != 0) {
            continue;
        }
        if (isIndirect(entries, i + 1) || !isPlain(candidate)) {
            return X509_CRL_get0_by_serial(crl, entry, serial);
        }
        *entry = candidate;
        return 1;
    }
    return 0;
}

} // namespace CmnCrypto
