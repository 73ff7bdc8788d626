#ifndef CMNCRYPTO_LIBWINCERTSTORE_CANDIDATE_H
#define CMNCRYPTO_LIBWINCERTSTORE_CANDIDATE_H

#include <functional>

#include "cmncrypto/CertificateSelector.h"
#include "cmncrypto/WinCertStoreCommon.h"
#include "frame/Failure.h"

namespace CmnCrypto::WinCertStore {

/** The tag of everything that selection logs. */
constexpr const char* selectionTag = "CertificateSelector::GetCertificate";

/** Makes a candidate pass or fail the checks, in their order, and logs the first failure. @throws std::bad_alloc */
CandidateVerdict examine(const WinCertStoreCertificate& certificate, const _win_cert_store_path& path);

/** @return whether a refused candidate's code becomes the result of the selection; else that stays what it was */
bool countsAsResult(const CandidateVerdict& verdict);

/** @return whether a candidate fails for its dates and nothing else */
bool isRefusedForItsDatesAlone(const CandidateVerdict& verdict);

/**
 * Hands every certificate of one store that a path's first subject finds to @p take, with what examine() thinks of it.
 * @return 0; 8772 @throws std::bad_alloc
 */
int eachCandidate(const _win_cert_store_path& path, const std::function<void(CandidateVerdict&&)>& take);

} // namespace CmnCrypto::WinCertStore

#endif
