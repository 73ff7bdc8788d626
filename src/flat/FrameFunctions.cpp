#include "cmncrypto/CmnApi.h"
#include "cmncrypto/cmncrypto.h"
#include "flat/FlatGuard.h"

using namespace CmnCrypto;

void cmncrypto_enable_fips_mode(int fipsMode) {
    constexpr const char* function = "cmncrypto_enable_fips_mode";
    guarded(function, [fipsMode] {
        clogmsg(logInfo, function, "initializing with fipsmode:%d", fipsMode);
        CmnApi::initialize(fipsMode);
        return 0;
    });
}

int cmncrypto_get_ssl_fips_mode(void) {
    return CmnApi::getFIPSMode();
}

int cmncrypto_testFipsCompliance(void) {
    return CmnApi::testFipsCompliance();
}
