#include "cmncrypto/RandomNumberGenerator.h"
#include "cmncrypto/cmncrypto.h"
#include "frame/Logging.h"
#include "hashing/DhGroup.h"
#include "hashing/Password.h"
#include "hashing/SeededRandom.h"

using namespace CmnCrypto;

// The first two let exceptions through: their hosts have always caught them.

int cmncrypto_getRandomBytes(unsigned char* buffer, int count) {
    clogmsg(logInfo, "cmncrypto_getRandomBytes", "Inside cmncrypto_getRandomBytes for generating random bytes");
    RandomNumberGenerator::generateRandomBytes(buffer, count);
    return 0;
}

int cmncrypto_getRandomNumber(char** out, int format, int count) {
    clogmsg(logInfo, "cmncrypto_getRandomNumber", "Inside cmncrypto_getRandomNumber for generating random number");
    RandomNumberGenerator::generateRandomNumber(static_cast<_BIGNUM_CONVERSION>(format), out, count);
    return 0;
}

uint32_t V_random(void) {
    return seededRandom32();
}

int V_srandom(void) {
    return 0;
}

void generatePassword(char* out, int size) {
    writePassword(out, size);
}

DH* get_dh2048(void) {
    return makeDh2048().release();
}
