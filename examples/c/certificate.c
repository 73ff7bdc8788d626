/* The flat interface from C: a new key, a self-signed certificate for it, its PEM form, and both in a PKCS#12 bundle
 * and out of it again. Writes certificate.pem and bundle.p12 into the folder that it is given. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "cmncrypto/cmncrypto.h"

enum { readFailed = 13, bundleSize = 64 * 1024 };

static int onLog(int level, const char* message, const char* function) {
    if (level == 16) {
        printf("  log: level %d, %s: %s\n", level, function, message);
    }
    return 0;
}

/* Makes a key and a certificate for it. The caller releases both. */
static int makeCertificate(const char* host, EVP_PKEY** key, X509** certificate) {
    subTokenValuePair name = {"CN", host, NULL};
    subTokenValuePair unit = {"OU", "Services", &name};
    subTokenValuePair organisation = {"O", "Example", &unit};

    int code = cmncrypto_generatePrivateKey(3072, key);
    if (code == 0) {
        /* A failure of this call releases the key, too. */
        code = cmncrypto_generateSelfSignCertificate(365, HASH_ALGO_SHA256, &organisation, key, certificate);
    }
    return code;
}

/* Packs both into a bundle of *length bytes. A bundle that fills the whole buffer may have been cut. */
static int pack(X509* certificate, EVP_PKEY* key, char* passPhrase, unsigned char* bundle, int* length) {
    *length = bundleSize;
    int code = cmncrypto_convertToPKCS12(certificate, key, passPhrase, bundle, length);
    return code == 0 && *length == bundleSize ? -1 : code;
}

/* Takes a bundle apart and compares what it held with the certificate that went in. */
static int unpackAndCompare(const unsigned char* bundle, int length, const char* passPhrase, const char* pem) {
    X509* certificate = NULL;
    EVP_PKEY* key = NULL;
    char* unpacked = NULL;

    int code = cmncrypto_extractCertFromPKCS12(bundle, length, passPhrase, &certificate, &key);
    if (code == 0) {
        code = cmncrypto_getPEMfromCertificate(certificate, &unpacked);
    }
    if (code == 0 && (key == NULL || strcmp(unpacked, pem) != 0)) {
        code = -1;
    }
    free(unpacked);
    cmncrypto_releasePrivateKey(&key);
    cmncrypto_releaseCertificate(&certificate);
    return code;
}

static int writeFile(const char* folder, const char* name, const void* data, size_t length) {
    char path[4096];
    snprintf(path, sizeof path, "%s/%s", folder, name);
    FILE* file = fopen(path, "wb");
    if (file == NULL) {
        perror(path);
        return -1;
    }
    size_t written = fwrite(data, 1, length, file);
    return fclose(file) == 0 && written == length ? 0 : -1;
}

int main(int argc, char** argv) {
    static unsigned char bundle[bundleSize];
    const char* folder = argc > 1 ? argv[1] : ".";
    const char* host = argc > 2 ? argv[2] : "host.example.org";
    char passPhrase[] = "only an example";
    EVP_PKEY* key = NULL;
    X509* certificate = NULL;
    char* pem = NULL;
    char fingerprint[96];
    int length = 0;

    cmncrypto_set_log_callback(onLog, NULL);

    int code = makeCertificate(host, &key, &certificate);
    if (code == 0) {
        code = cmncrypto_getPEMfromCertificate(certificate, &pem);
    }
    if (code == 0) {
        code = cmncrypto_generateHashForDisplay(certificate, HASH_ALGO_SHA256, fingerprint, sizeof fingerprint - 1);
    }
    if (code == 0) {
        printf("%sSHA256 %s\n", pem, fingerprint);
        code = pack(certificate, key, passPhrase, bundle, &length);
    }
    if (code == 0) {
        code = unpackAndCompare(bundle, length, passPhrase, pem);
    }
    if (code == 0) {
        printf("packed into %d bytes and unpacked again\n", length);
        int refused = unpackAndCompare(bundle, length, "another", pem);
        printf("with another pass phrase: refused with %d\n", refused);
        code = refused == readFailed ? 0 : -1;
    }
    if (code == 0) {
        code = writeFile(folder, "certificate.pem", pem, strlen(pem));
    }
    if (code == 0) {
        code = writeFile(folder, "bundle.p12", bundle, (size_t)length);
    }
    free(pem);
    cmncrypto_releasePrivateKey(&key);
    cmncrypto_releaseCertificate(&certificate);
    if (code != 0) {
        fprintf(stderr, "failed with code %d\n", code);
    }
    return code == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
