#ifndef CMNCRYPTO_BENCH_TLSSERVERS_H
#define CMNCRYPTO_BENCH_TLSSERVERS_H

#include "Material.h"

// A TLS server in OpenSSL's calls and in the library's, step by step: what the jobs are templates over. The settings
// are the same: TLS 1.2, no resumption, the server's order of suites.

/** Where the key of a server is. */
enum class KeyIn { memory, store };

struct RawServer {
    /** @param key store: the signature algorithms alone, those that a store's key can do */
    static Owned<SSL_CTX> context(KeyIn key);
    static void accept(SSL* ssl, int socket);
    static int read(SSL* ssl, int socket, void* buffer, int size);
    static void write(SSL* ssl, int socket, const void* data, int size);
    static void finish(SSL* ssl, int socket); ///< frees @p ssl
};

struct OurServer {
    static Owned<SSL_CTX> context(KeyIn key);
    static void accept(SSL* ssl, int socket);
    static int read(SSL* ssl, int socket, void* buffer, int size);
    static void write(SSL* ssl, int socket, const void* data, int size);
    static void finish(SSL* ssl, int socket);

    static Owned<SSL> setUp(); ///< one connection with the whole recipe, its key in memory
};

#endif
