#ifndef CMNCRYPTO_LIBWINCERTSTORE_PLATFORMFAILURE_H
#define CMNCRYPTO_LIBWINCERTSTORE_PLATFORMFAILURE_H

#include <initializer_list>
#include <string_view>

#include "cmncrypto/CertStorePlatform.h"
#include "cmncrypto/WinCertStoreCommon.h"

namespace CmnCrypto::WinCertStore {

/** A Windows error number that means the same in every operation of its kind. */
struct KnownError {
    uint32_t first; ///< the number, or the first one of a range
    uint32_t last;
    WinCertStoreError meaning;
};

/**
 * Logs a failed call of a platform: the joined @p parts, its text and its number.
 * @param otherwise what a number means that is not among @p known; memory that is short and what the platform cannot
 *                  do are known everywhere
 * @throws std::bad_alloc
 */
WinCertStoreError platformFailure(const char* function, std::initializer_list<std::string_view> parts,
                                  CertStorePlatform& platform, uint32_t error, WinCertStoreError otherwise,
                                  std::initializer_list<KnownError> known = {});

} // namespace CmnCrypto::WinCertStore

#endif
