/* A host in C: whatever the library hands out lies in the heap that both share, so that it grows and goes here. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cmncrypto/cmncrypto.h"

static int failures = 0;

static void release(const char* function, int done, void* memory, const char* expected, size_t length) {
    char* const grown = done != 0 && memory != NULL ? realloc(memory, 100000) : NULL;
    if (grown == NULL || memcmp(grown, expected, length) != 0) {
        fprintf(stderr, "%s: not as expected\n", function);
        ++failures;
    }
    free(grown);
}

int main(void) {
    const char* const text = "a9993e364706816aba3e25717850c26c9cd0d89d"; /* SHA-1 of "abc" */
    const char* const bytes = "\xa9\x99\x3e\x36\x47\x06\x81\x6a\xba\x3e\x25\x71\x78\x50\xc2\x6c\x9c\xd0\xd8\x9d";
    CmnCryptoHandle hasher = {0, NULL};
    char* out = NULL;
    unsigned char* digest = NULL;
    void* binary = NULL;
    unsigned int length = 0;
    size_t size = 0;

    cmncrypto_getHash("abc", 3, &out, HASH_ALGO_SHA1);
    release("getHash", 1, out, text, 41);
    cmncrypto_getBinaryHash((const unsigned char*)"abc", 3, HASH_ALGO_SHA1, &digest, &size);
    release("getBinaryHash", size == 20, digest, bytes, 20);
    cmncrypto_getRandomNumber(&out, BIGNUM_TO_HEX, 16);
    release("getRandomNumber", strlen(out) == 32, out, "", 0);
    CmnCrypto_init_hasher(&hasher, HASH_ALGO_SHA1);
    CmnCrypto_hasher_update(&hasher, "abc", 3);
    CmnCrypto_hasher_generateBinaryHash(&hasher, &binary, &length);
    release("generateBinaryHash", length == 20, binary, bytes, 20);
    CmnCrypto_release_Obj(&hasher);
    return failures;
}
