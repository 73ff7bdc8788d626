#include "cmncrypto/WinCertStoreHelper.h"

#include "libwincertstore/FingerprintText.h"
#include "libwincertstore/StoreLog.h"

namespace CmnCrypto::WinCertStore {

bool WinCertStoreHelper::IsValidFingerprint(const std::string& fingerprint) {
    constexpr const char* function = "WinCertStoreHelper::IsValidFingerprint";
    const std::string digits = fingerprintDigits(fingerprint);
    if (digits.size() != fingerprintLength) {
        logFailureOf(function, {"Certificate fingerprint length must be ", std::to_string(fingerprintLength),
                                " but it is ", std::to_string(digits.size())});
        return false;
    }
    if (digits.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos) {
        logFailureOf(function, {"Certificate fingerprint ", fingerprint, " contains non-hex characters."});
        return false;
    }
    return true;
}

} // namespace CmnCrypto::WinCertStore
