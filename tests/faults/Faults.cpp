#include "faults/Faults.h"

#include <cctype>
#include <cstdio>
#include <map>
#include <new>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rand.h>
#include <openssl/x509.h>

namespace faults {

namespace {

thread_local std::map<std::string, std::string> plans;
thread_local std::map<std::string, std::vector<size_t>> seen;

bool strikes(const char* function) {
    if (plans.empty()) { // allocating here would recurse through the wrapped allocators
        return false;
    }
    const auto planned = plans.find(function);
    if (planned == plans.end() || planned->second.empty()) {
        return false;
    }
    const char next = planned->second[0];
    if (next != '*') {
        planned->second.erase(0, 1);
    }
    if (next != '.' && std::isupper(static_cast<unsigned char>(*function)) != 0) { // one of OpenSSL's
        ERR_raise(ERR_LIB_EVP, ERR_R_INTERNAL_ERROR);
    }
    return next != '.';
}

template <class Length> void note(const char* function, Length length) {
    seen[function].push_back(static_cast<size_t>(length));
}

} // namespace

void plan(const std::string& function, const std::string& calls) {
    plans[function] = calls;
}

void clear() {
    plans.clear();
    seen.clear();
}

std::vector<size_t> lengths(const std::string& function) {
    return seen[function];
}

} // namespace faults

// The linker sends the library's calls of each function to its wrapper (--wrap); the build reads the names here.
#define WRAP_EXPANDED(name, result, parameters, arguments, failure)                                                    \
    extern "C" result __real_##name parameters;                                                                        \
    extern "C" result __wrap_##name parameters {                                                                       \
        return faults::strikes(#name) ? (failure) : __real_##name arguments;                                           \
    }
#define WRAP(...) WRAP_EXPANDED(__VA_ARGS__)

// What functions of one kind have in common: parameters, arguments, and what they answer when they fail.
using In = const unsigned char*;
#define FETCH (OSSL_LIB_CTX * lib, const char* id, const char* query), (lib, id, query), nullptr
#define START (EVP_CIPHER_CTX * c, const EVP_CIPHER* type, ENGINE* e, In key, In iv), (c, type, e, key, iv), 0
#define UPDATE(name)                                                                                                   \
    (EVP_CIPHER_CTX * c, unsigned char* out, int* made, In in, int size),                                              \
        (c, out, made, in, (faults::note(#name, size), size)), 0
#define FINISH (EVP_CIPHER_CTX * c, unsigned char* out, int* made), (c, out, made), 0
#define NEW_NOTHROW (size_t size, const std::nothrow_t& tag), (size, tag), nullptr

// clang-format off: one line for each function
WRAP(EVP_MD_fetch, EVP_MD*, FETCH)
WRAP(EVP_CIPHER_fetch, EVP_CIPHER*, FETCH)
WRAP(EVP_MD_CTX_new, EVP_MD_CTX*, (), (), nullptr)
WRAP(EVP_MD_CTX_copy_ex, int, (EVP_MD_CTX * to, const EVP_MD_CTX* from), (to, from), 0)
WRAP(EVP_DigestInit_ex, int, (EVP_MD_CTX * c, const EVP_MD* type, ENGINE* e), (c, type, e), 0)
WRAP(EVP_DigestUpdate, int, (EVP_MD_CTX * c, const void* in, size_t size),
     (c, in, (faults::note("EVP_DigestUpdate", size), size)), 0)
WRAP(EVP_DigestFinal_ex, int, (EVP_MD_CTX * c, unsigned char* out, unsigned* size), (c, out, size), 0)
WRAP(EVP_CIPHER_CTX_ctrl, int, (EVP_CIPHER_CTX * c, int type, int number, void* data), (c, type, number, data), 0)
WRAP(EVP_CipherInit_ex, int, (EVP_CIPHER_CTX * c, const EVP_CIPHER* type, ENGINE* e, In key, In iv, int encrypt),
     (c, type, e, key, iv, encrypt), 0)
WRAP(EVP_CipherUpdate, int, UPDATE(EVP_CipherUpdate))
WRAP(EVP_CipherFinal_ex, int, FINISH)
WRAP(EVP_EncryptInit_ex, int, START)
WRAP(EVP_EncryptUpdate, int, UPDATE(EVP_EncryptUpdate))
WRAP(EVP_EncryptFinal_ex, int, FINISH)
WRAP(EVP_DecryptInit_ex, int, START)
WRAP(EVP_DecryptUpdate, int, UPDATE(EVP_DecryptUpdate))
WRAP(EVP_DecryptFinal_ex, int, FINISH)
WRAP(EVP_default_properties_is_fips_enabled, int, (OSSL_LIB_CTX * lib), (lib), 1)
WRAP(RAND_bytes, int, (unsigned char* out, int size), (out, size), 0)
WRAP(RAND_status, int, (), (), 0)
WRAP(RAND_seed, void, (const void* data, int size), (data, (faults::note("RAND_seed", size), size)), void())
WRAP(BIO_new, BIO*, (const BIO_METHOD* method), (method), nullptr)
WRAP(BIO_new_mem_buf, BIO*, (const void* data, int size), (data, size), nullptr)
WRAP(BIO_write, int, (BIO * bio, const void* data, int size), (bio, data, size), -1)
WRAP(BIO_ctrl, long, (BIO * bio, int command, long number, void* data), (bio, command, number, data), 0)
WRAP(X509_digest, int, (const X509* x, const EVP_MD* type, unsigned char* out, unsigned* size), (x, type, out, size), 0)
WRAP(strdup, char*, (const char* text), (text), nullptr)
WRAP(malloc, void*, (size_t size), (size), nullptr)
WRAP(realloc, void*, (void* old, size_t size), (old, size), nullptr)
WRAP(OPENSSL_cleanse, void, (void* data, size_t size), (data, (faults::note("OPENSSL_cleanse", size), size)), void())
WRAP(calloc, void*, (size_t count, size_t size), (count, size), nullptr)
WRAP(fclose, int, (FILE * file), (file), (__real_fclose(file), EOF))
WRAP(_ZnwmRKSt9nothrow_t, void*, NEW_NOTHROW)
WRAP(_ZnamRKSt9nothrow_t, void*, NEW_NOTHROW)
