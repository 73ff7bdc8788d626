/* The flat interface from C: hashing in one call and piece by piece, random numbers, the log callback. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cmncrypto/cmncrypto.h"

static int failuresLogged = 0;

static int onLog(int level, const char* message, const char* function) {
    if (level == 16) {
        ++failuresLogged;
        printf("  log: level %d, %s: %s\n", level, function, message);
    }
    return 0;
}

static int fail(const char* step, int code) {
    fprintf(stderr, "%s: unexpected result %d\n", step, code);
    return EXIT_FAILURE;
}

/* The same digest through a handle, fed with one character at a time. */
static int hashInPieces(const char* text, char** out) {
    CmnCryptoHandle hasher = {0, NULL};
    int code = CmnCrypto_init_hasher(&hasher, HASH_ALGO_SHA256);
    for (const char* p = text; code == 1 && *p != '\0'; ++p) {
        code = CmnCrypto_hasher_update(&hasher, p, 1);
    }
    if (code == 1) {
        code = CmnCrypto_hasher_generateHash(&hasher, out);
    }
    CmnCrypto_release_Obj(&hasher);
    return code;
}

int main(int argc, char** argv) {
    const char* text = argc > 1 ? argv[1] : "The quick brown fox";
    char* whole = NULL;
    char* pieces = NULL;
    char* number = NULL;

    if (cmncrypto_set_log_callback(onLog, NULL) != 1) {
        return fail("cmncrypto_set_log_callback", 0);
    }

    int code = cmncrypto_getHash(text, strlen(text), &whole, HASH_ALGO_SHA256);
    if (code != 0) {
        return fail("cmncrypto_getHash", code);
    }
    printf("SHA256 %s\n", whole);

    code = hashInPieces(text, &pieces);
    if (code != 1 || strcmp(whole, pieces) != 0) {
        return fail("hashing in pieces", code);
    }
    printf("the same, fed one character at a time\n");

    code = cmncrypto_getRandomNumber(&number, BIGNUM_TO_DEC, 16);
    if (code != 0) {
        return fail("cmncrypto_getRandomNumber", code);
    }
    printf("random number of 16 bytes: %s\n", number);

    /* What the library refuses comes back as a code, and as a message before that. */
    free(pieces);
    code = cmncrypto_getHash(text, strlen(text), &pieces, HASH_ALGO_NONE);
    if (code != 114 || pieces != NULL || failuresLogged == 0) {
        return fail("hashing without an algorithm", code);
    }
    printf("hashing without an algorithm: refused with %d\n", code);

    free(whole);
    free(number);
    return EXIT_SUCCESS;
}
