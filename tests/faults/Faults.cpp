#include "faults/Faults.h"

#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include <openssl/bio.h>
#include <openssl/decoder.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <openssl/rand.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include "faults/Wrap.h"

namespace faults {

namespace {

// Of the one thread for which calls fail at a time. What a wrapper does must not allocate where an allocation may fail:
// hence the look-up without a std::string.
std::map<std::string, std::string, std::less<>> plans;
std::map<std::string, std::vector<size_t>> seen;
std::map<std::string, size_t>* counted = nullptr;
std::time_t present = 0;
thread_local bool active = false;

} // namespace

bool strikes(const char* function) {
    if (!active) {
        return false;
    }
    if (counted != nullptr) {
        active = false;
        ++(*counted)[function];
        active = true;
    }
    const auto planned = plans.find(function);
    if (planned == plans.end() || planned->second.empty()) {
        return false;
    }
    const char next = planned->second[0];
    if (next != '*') {
        planned->second.erase(0, 1);
    }
    const bool isQuestion = std::strstr(function, "_is_") != nullptr; // whose other answer is no failure
    if (next != '.' && std::isupper(static_cast<unsigned char>(*function)) != 0 && !isQuestion) { // one of OpenSSL's
        ERR_raise(ERR_LIB_EVP, ERR_R_INTERNAL_ERROR);
    }
    return next != '.';
}

void noteLength(const char* function, size_t length) {
    const bool was = std::exchange(active, false); // what is noted here does not fail
    seen[function].push_back(length);
    active = was;
}

std::time_t stoppedAt() {
    return present;
}

void plan(const std::string& function, const std::string& calls) {
    plans[function] = calls;
    active = true;
}

void stopClock(std::time_t at) {
    present = at;
    plan("time", "*");
}

std::map<std::string, size_t> calls(const std::function<void()>& operation) {
    std::map<std::string, size_t> counts;
    counted = &counts;
    const bool was = std::exchange(active, true);
    operation();
    active = was;
    counted = nullptr;
    return counts;
}

void clear() {
    active = false;
    plans.clear();
    seen.clear();
}

bool setActive(bool isActive) {
    return std::exchange(active, isActive);
}

std::vector<size_t> lengths(const std::string& function) {
    return seen[function];
}

} // namespace faults

// What functions of one kind have in common: parameters, arguments, and what they answer when they fail.
using In = const unsigned char*;
#define FETCH (OSSL_LIB_CTX * lib, const char* id, const char* query), (lib, id, query), nullptr
#define START (EVP_CIPHER_CTX * c, const EVP_CIPHER* type, ENGINE* e, In key, In iv), (c, type, e, key, iv), 0
#define UPDATE(name)                                                                                                   \
    (EVP_CIPHER_CTX * c, unsigned char* out, int* made, In in, int size),                                              \
        (c, out, made, in, (faults::note(#name, size), size)), 0
#define FINISH (EVP_CIPHER_CTX * c, unsigned char* out, int* made), (c, out, made), 0

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
WRAP(BIO_ctrl, long, (BIO * bio, int command, long number, void* data), (bio, command, number, data),
     command == BIO_C_SET_FILE_PTR || command == BIO_C_GET_FILE_PTR ? __real_BIO_ctrl(bio, command, number, data) : 0)
WRAP(X509_digest, int, (const X509* x, const EVP_MD* type, unsigned char* out, unsigned* size), (x, type, out, size), 0)
WRAP(strdup, char*, (const char* text), (text), nullptr)
WRAP(malloc, void*, (size_t size), (size), nullptr)
WRAP(realloc, void*, (void* old, size_t size), (old, size), nullptr)
WRAP(OPENSSL_cleanse, void, (void* data, size_t size), (data, (faults::note("OPENSSL_cleanse", size), size)), void())
WRAP(calloc, void*, (size_t count, size_t size), (count, size), nullptr)
WRAP(fclose, int, (FILE * file), (file), (__real_fclose(file), EOF))
WRAP(X509_NAME_new, X509_NAME*, P0, nullptr)
WRAP(X509_NAME_dup, X509_NAME*, P1(const X509_NAME*), nullptr)
WRAP(X509_NAME_print_ex, int, P4(BIO*, const X509_NAME*, int, unsigned long), 0)
WRAP(X509_NAME_oneline, char*, P3(const X509_NAME*, char*, int), nullptr)
WRAP(X509_NAME_hash_ex, unsigned long, P4(const X509_NAME*, OSSL_LIB_CTX*, const char*, int*), 0)
WRAP(X509_NAME_add_entry_by_txt, int, P7(X509_NAME*, const char*, int, In, int, int, int), 0)
WRAP(X509_NAME_get_entry, X509_NAME_ENTRY*, P2(const X509_NAME*, int), nullptr)
WRAP(X509_new, X509*, P0, nullptr)
WRAP(X509_dup, X509*, P1(const X509*), nullptr)
WRAP(X509_get_ext, X509_EXTENSION*, P2(const X509*, int), nullptr)
WRAP(X509_signature_print, int, P3(BIO*, const X509_ALGOR*, const ASN1_STRING*), 0)
WRAP(X509_gmtime_adj, ASN1_TIME*, P2(ASN1_TIME*, long), nullptr)
WRAP(X509_set_version, int, P2(X509*, long), 0)
WRAP(X509_set_issuer_name, int, P2(X509*, const X509_NAME*), 0)
WRAP(X509_set_pubkey, int, P2(X509*, EVP_PKEY*), 0)
WRAP(X509_sign, int, P3(X509*, EVP_PKEY*, const EVP_MD*), 0)
WRAP(X509_REQ_new, X509_REQ*, P0, nullptr)
WRAP(X509_REQ_get_pubkey, EVP_PKEY*, P1(X509_REQ*), nullptr)
WRAP(X509_REQ_set_pubkey, int, P2(X509_REQ*, EVP_PKEY*), 0)
WRAP(X509_REQ_set_subject_name, int, P2(X509_REQ*, const X509_NAME*), 0)
WRAP(X509_REQ_add_extensions, int, P2(X509_REQ*, const STACK_OF(X509_EXTENSION)*), 0)
WRAP(X509_REQ_sign, int, P3(X509_REQ*, EVP_PKEY*, const EVP_MD*), 0)
WRAP(X509V3_EXT_conf_nid, X509_EXTENSION*, P4(LHASH_OF(CONF_VALUE) *, X509V3_CTX*, int, const char*), nullptr)
WRAP(ASN1_TIME_diff, int, P4(int*, int*, const ASN1_TIME*, const ASN1_TIME*), 0)
WRAP(ASN1_TIME_set, ASN1_TIME*, P2(ASN1_TIME*, time_t), nullptr)
WRAP(ASN1_INTEGER_to_BN, BIGNUM*, P2(const ASN1_INTEGER*, BIGNUM*), nullptr)
WRAP(BN_new, BIGNUM*, P0, nullptr)
WRAP(BN_bn2hex, char*, P1(const BIGNUM*), nullptr)
WRAP(BN_set_word, int, P2(BIGNUM*, BN_ULONG), 0)
WRAP(BN_rand, int, P4(BIGNUM*, int, int, int), 0)
WRAP(BN_to_ASN1_INTEGER, ASN1_INTEGER*, P2(const BIGNUM*, ASN1_INTEGER*), nullptr)
WRAP(BIO_puts, int, P2(BIO*, const char*), -1)
WRAP(BIO_read_ex, int, P4(BIO*, void*, size_t, size_t*), 0)
WRAP(BIO_write_ex, int, P4(BIO*, const void*, size_t, size_t*), 0)
WRAP(PEM_write_bio_X509, int, P2(BIO*, const X509*), 0)
WRAP(PEM_write_bio_X509_REQ, int, P2(BIO*, const X509_REQ*), 0)
WRAP(PEM_write_PrivateKey, int, P7(FILE*, const EVP_PKEY*, const EVP_CIPHER*, In, int, pem_password_cb*, void*), 0)
WRAP(PEM_read_bio_PrivateKey, EVP_PKEY*, P4(BIO*, EVP_PKEY**, pem_password_cb*, void*),
     (ERR_raise(12, 0x0A80A3), nullptr)) // 0x060A80A3 in all
WRAP(PEM_X509_INFO_read_bio, STACK_OF(X509_INFO)*, P4(BIO*, STACK_OF(X509_INFO)*, pem_password_cb*, void*), nullptr)
WRAP(OPENSSL_sk_new_null, OPENSSL_STACK*, P0, nullptr)
WRAP(OPENSSL_sk_push, int, P2(OPENSSL_STACK*, const void*), 0)
WRAP(d2i_X509_CRL, X509_CRL*, P3(X509_CRL**, In*, long), (ERR_raise(ERR_LIB_ASN1, ERR_R_MALLOC_FAILURE), nullptr))
WRAP(i2d_X509_CRL, int, P2(const X509_CRL*, unsigned char**), -1)
WRAP(PEM_read_bio_X509_CRL, X509_CRL*, P4(BIO*, X509_CRL**, pem_password_cb*, void*), nullptr)
WRAP(X509_CRL_dup, X509_CRL*, P1(const X509_CRL*), nullptr)
WRAP(X509_CRL_verify, int, P2(X509_CRL*, EVP_PKEY*), -1)
WRAP(X509_CRL_get_issuer, X509_NAME*, P1(const X509_CRL*), nullptr)
WRAP(X509_CRL_get0_lastUpdate, const ASN1_TIME*, P1(const X509_CRL*), nullptr)
WRAP(X509_EXTENSION_get_data, ASN1_OCTET_STRING*, P1(X509_EXTENSION*), nullptr)
WRAP(X509_get0_pubkey, EVP_PKEY*, P1(const X509*), nullptr)
WRAP(X509_get0_serialNumber, const ASN1_INTEGER*, P1(const X509*), nullptr)
WRAP(X509_get_issuer_name, X509_NAME*, P1(const X509*), nullptr)
WRAP(GENERAL_NAME_get0_value, void*, P2(const GENERAL_NAME*, int*), nullptr)
WRAP(ASN1_STRING_get0_data, In, P1(const ASN1_STRING*), nullptr)
WRAP(ASN1_TIME_adj, ASN1_TIME*, P4(ASN1_TIME*, time_t, int, long), nullptr)
WRAP(OPENSSL_sk_value, void*, P2(const OPENSSL_STACK*, int), nullptr)
WRAP(OPENSSL_sk_new_reserve, OPENSSL_STACK*, P2(OPENSSL_sk_compfunc, int), nullptr)
WRAP(X509_verify_cert, int, P1(X509_STORE_CTX*), (X509_STORE_CTX_set_error(a, X509_V_ERR_OUT_OF_MEM), -1))
WRAP(X509_verify_cert_error_string, const char*, P1(long), nullptr)
WRAP(X509_STORE_new, X509_STORE*, P0, nullptr)
WRAP(X509_STORE_set1_param, int, P2(X509_STORE*, const X509_VERIFY_PARAM*), 0)
WRAP(X509_STORE_CTX_new, X509_STORE_CTX*, P0, nullptr)
WRAP(X509_STORE_CTX_init, int, P4(X509_STORE_CTX*, X509_STORE*, X509*, STACK_OF(X509)*), 0)
WRAP(X509_STORE_CTX_get0_chain, STACK_OF(X509)*, P1(const X509_STORE_CTX*), nullptr)
WRAP(X509_VERIFY_PARAM_new, X509_VERIFY_PARAM*, P0, nullptr)
WRAP(X509_VERIFY_PARAM_set_flags, int, P2(X509_VERIFY_PARAM*, unsigned long), 0)
WRAP(SSL_CTX_new, SSL_CTX*, P1(const SSL_METHOD*), nullptr)
WRAP(SSL_CTX_ctrl, long, P4(SSL_CTX*, int, long, void*), 0)
WRAP(SSL_CTX_set_cipher_list, int, P2(SSL_CTX*, const char*), 0)
WRAP(SSL_CTX_use_certificate, int, P2(SSL_CTX*, X509*), 0)
WRAP(SSL_CTX_use_PrivateKey, int, P2(SSL_CTX*, EVP_PKEY*), 0)
WRAP(SSL_CTX_check_private_key, int, P1(const SSL_CTX*), 0)
WRAP(SSL_CTX_add_client_CA, int, P2(SSL_CTX*, X509*), 0)
WRAP(SSL_new, SSL*, P1(SSL_CTX*), nullptr)
WRAP(SSL_set_ex_data, int, P3(SSL*, int, void*), 0)
WRAP(SSL_accept, int, P1(SSL*), -1)
WRAP(SSL_read, int, P3(SSL*, void*, int), -1)
WRAP(SSL_write, int, P3(SSL*, const void*, int), (faults::note("SSL_write", c), -1))
WRAP(SSL_shutdown, int, P1(SSL*), -1)
WRAP(DH_new, DH*, P0, nullptr)
WRAP(DH_set0_pqg, int, P4(DH*, BIGNUM*, BIGNUM*, BIGNUM*), 0)
WRAP(BIO_new_socket, BIO*, P2(int, int), nullptr)
WRAP(SSL_CTX_use_RSAPrivateKey, int, P2(SSL_CTX*, rsa_st*), 0)
WRAP(RSA_new, rsa_st*, P0, nullptr)
WRAP(RSA_meth_new, rsa_meth_st*, P2(const char*, int), nullptr)
WRAP(RSA_set_ex_data, int, P3(rsa_st*, int, void*), 0)
WRAP(RSA_set_method, int, P2(rsa_st*, const rsa_meth_st*), 0)
WRAP(BN_dup, BIGNUM*, P1(const BIGNUM*), nullptr)
WRAP(d2i_X509, X509*, P3(X509**, In*, long), nullptr)
WRAP(i2d_PKCS12_bio, int, P2(BIO*, const PKCS12*), 0)
WRAP(PKCS12_init_ex, PKCS12*, P3(int, OSSL_LIB_CTX*, const char*), nullptr)
WRAP(PKCS8_decrypt_ex, PKCS8_PRIV_KEY_INFO*, P5(const X509_SIG*, const char*, int, OSSL_LIB_CTX*, const char*), nullptr)
WRAP(EVP_PKCS82PKEY, EVP_PKEY*, P1(const PKCS8_PRIV_KEY_INFO*), nullptr)
WRAP(EVP_CIPHER_CTX_new, EVP_CIPHER_CTX*, P0, nullptr)
WRAP(EVP_DigestInit, int, P2(EVP_MD_CTX*, const EVP_MD*), 0)
WRAP(EVP_SignFinal, int, P4(EVP_MD_CTX*, unsigned char*, unsigned*, EVP_PKEY*), 0)
WRAP(EVP_PKEY_CTX_new_from_pkey, EVP_PKEY_CTX*, P3(OSSL_LIB_CTX*, EVP_PKEY*, const char*), nullptr)
WRAP(EVP_PKEY_verify_init, int, P1(EVP_PKEY_CTX*), 0)
WRAP(EVP_PKEY_CTX_set_signature_md, int, P2(EVP_PKEY_CTX*, const EVP_MD*), 0)
WRAP(EVP_PKEY_verify, int, P5(EVP_PKEY_CTX*, In, size_t, In, size_t), -1)
WRAP(EVP_PKEY_new, EVP_PKEY*, P0, nullptr)
WRAP(EVP_PKEY_set1_RSA, int, P2(EVP_PKEY*, rsa_st*), 0)
WRAP(EVP_PKEY_get_base_id, int, P1(const EVP_PKEY*), 0)
WRAP(EVP_PKEY_CTX_new_from_name, EVP_PKEY_CTX*, P3(OSSL_LIB_CTX*, const char*, const char*), nullptr)
WRAP(EVP_PKEY_keygen_init, int, P1(EVP_PKEY_CTX*), 0)
WRAP(EVP_PKEY_CTX_set_rsa_keygen_bits, int, P2(EVP_PKEY_CTX*, int), 0)
WRAP(EVP_PKEY_CTX_set1_rsa_keygen_pubexp, int, P2(EVP_PKEY_CTX*, BIGNUM*), 0)
WRAP(EVP_PKEY_generate, int, P2(EVP_PKEY_CTX*, EVP_PKEY**), 0)
WRAP(OSSL_LIB_CTX_new, OSSL_LIB_CTX*, P0, nullptr)
WRAP(OSSL_PROVIDER_load, OSSL_PROVIDER*, P2(OSSL_LIB_CTX*, const char*), nullptr)
WRAP(OSSL_DECODER_from_data, int, P3(OSSL_DECODER_CTX*, const unsigned char**, size_t*), 0)
WRAP(ferror, int, P1(FILE*), 1)
WRAP(fflush, int, P1(FILE*), EOF)
WRAP(PKCS12_create, PKCS12*,
     (const char* a, const char* b, EVP_PKEY* c, X509* d, STACK_OF(X509)* e, int f, int g, int h, int i, int j),
     (a, b, c, d, e, f, g, h, i, j), nullptr)
WRAP(OSSL_DECODER_CTX_new_for_pkey, OSSL_DECODER_CTX*,
     (EVP_PKEY * *a, const char* b, const char* c, const char* d, int e, OSSL_LIB_CTX* f, const char* g),
     (a, b, c, d, e, f, g), nullptr)
WRAP(CRYPTO_clear_free, void, (void* data, size_t size, const char* file, int line),
     (data, (faults::note("CRYPTO_clear_free", size), size), file, line), void())

// Not wrapped but replaced: what the standard library allocates is to fail as well.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete" // as seen from inside both
void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return faults::strikes("new") ? nullptr : __real_malloc(size);
}
void* operator new(size_t size) {
    void* const memory = operator new(size, std::nothrow);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}
// clang-format on
