/** @file
 * Whether the chain of a store certificate holds.
 */
#ifndef CMNCRYPTO_VERIFYCERTCHAIN_H
#define CMNCRYPTO_VERIFYCERTCHAIN_H

#include "cmncrypto/CertStorePlatform.h"
#include "cmncrypto/WinCertStoreCommon.h"
#include "cmncrypto/WinCertStoreOpenSSLHelper.h"
#include "cmncrypto/export.h"

namespace CmnCrypto::WinCertStore {

/**
 * Verifies a certificate at the present time, up to a root that the machine's store trusts: signatures, dates,
 * constraints, the purpose, and what else @p policy asks for. Where revocation is asked for, a list that is missing or
 * cannot be read refuses the chain. The reason of a refusal is logged, the platform's number
 * with its text. Safe from several threads at once.
 * @return WIN_CERT_STORE_OK, WIN_CERT_STORE_CHAIN_NOT_VERIFIED, WIN_CERT_STORE_NOT_FOUND for an empty wrapper,
 *         WIN_CERT_STORE_NOT_SUPPORTED for a platform that verifies none, WIN_CERT_STORE_NO_MEMORY
 */
CMNCRYPTO_API WinCertStoreError verify_certchain(const WinCertStoreCertificate& certificate,
                                                 const CertChainPolicy& policy = {}) noexcept;

/** @return verify_certchain() with @p policy as the bridge takes it: get_ssl_ctx() then refuses a certificate whose
 *          chain does not hold with 8794 @throws std::bad_alloc */
CMNCRYPTO_API WinCertStoreOpenSSLHelper::Validator certchain_validator(const CertChainPolicy& policy = {});

} // namespace CmnCrypto::WinCertStore

#endif
