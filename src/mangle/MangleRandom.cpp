#include "cmncrypto/cmncrypto.h"
#include "frame/Failure.h"
#include "hashing/SeededRandom.h"
#include "ossl/ErrorQueue.h"

int mangleGetRandom(unsigned char* buffer, int length) {
    if (CmnCrypto::fillRandom(buffer, length)) {
        return 0;
    }
    CmnCrypto::ossl::clearErrors();
    return CmnCrypto::codeCryptoFailed;
}
