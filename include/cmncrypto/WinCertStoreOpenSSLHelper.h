/** @file
 * TLS contexts that use a certificate and a private key of a certificate store.
 */
#ifndef CMNCRYPTO_WINCERTSTOREOPENSSLHELPER_H
#define CMNCRYPTO_WINCERTSTOREOPENSSLHELPER_H

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>

#include <openssl/types.h>
#include <openssl/x509.h>

#include "cmncrypto/CertificateSelector.h"
#include "cmncrypto/WinCertStoreCommon.h"
#include "cmncrypto/export.h"

namespace CmnCrypto::WinCertStore {

/**
 * Puts a store's certificate into an OpenSSL context. The private key never leaves its store: the context holds an RSA
 * object with the public half only, whose private operation is the store's signing call. That call signs by PKCS#1
 * v1.5 and decrypts nothing. Hence such a context speaks TLS 1.2 at most, signs by PKCS#1 v1.5 only (clients that would
 * rather have PSS connect all the same), and offers no static RSA key exchange.
 *
 * Context, connections and helper may go in any order: what a key needs to sign lives until the helper and every key
 * made from it are gone. Results are 0 or a product status code unless something else is said; nothing throws but the
 * constructor. One thread at a time per object; the connections of its contexts may run in parallel.
 */
class CMNCRYPTO_API WinCertStoreOpenSSLHelper {
public:
    /** What signing with one key takes. */
    struct QX_CRYPTO_DATA {
        CertContext cert_context = nullptr; ///< owned
        uintptr_t key_handle = 0;           ///< a CNG key or a CryptoAPI provider
        uint32_t key_spec = 0; ///< ncryptKeySpec: @p key_handle is a CNG key; else what the provider signs with
        bool free_key = false; ///< whether the record releases @p key_handle
        int32_t ref_count = 0; ///< keys that use the record
        std::shared_ptr<CertStorePlatform> platform; ///< to whom context and handle belong; null: that of the process
        std::weak_ptr<QX_CRYPTO_DATA> self;          ///< of a record that is kept by shared pointers: its keys share it
    };

    /** Asked whether a selected certificate may be used; anything but WIN_CERT_STORE_OK refuses it. */
    using Validator = std::function<WinCertStoreError(const WinCertStoreCertificate&)>;

    /**
     * @param path where get_ssl_ctx() looks that is given no path of its own
     * @param validator may be empty
     * @throws std::bad_alloc
     */
    WinCertStoreOpenSSLHelper(const std::string& path, Validator validator,
                              const std::list<std::shared_ptr<CertificateFilter>>& filters);
    WinCertStoreOpenSSLHelper(const WinCertStoreOpenSSLHelper&) = delete;
    WinCertStoreOpenSSLHelper& operator=(const WinCertStoreOpenSSLHelper&) = delete;
    ~WinCertStoreOpenSSLHelper();

    /** @return what selects the certificate: for the path of the last get_ssl_ctx(), at first for the constructor's */
    std::shared_ptr<CertificateSelector> GetCertificateSelector() const noexcept;

    /**
     * Selects a certificate and puts it, its key and its chain into @p ctx, in place of those that are there; after a
     * failure those stay.
     * @param path a certificate path; null or empty: the constructor's
     * @return 0; the codes of CertificateSelector and load_certificate_key_in_ssl_ctx(); for a certificate that the
     * validator refuses, the code of its answer
     */
    int get_ssl_ctx(const char* path, SSL_CTX* ctx) noexcept;

    /**
     * Restricts a context to what a store's key can do: TLS 1.2, PKCS#1 v1.5 signatures of its own, no cipher suite
     * with static RSA. The rest of the host's cipher list, and what peers may sign with, stay.
     * @return 0; 9110 when no protocol version or cipher suite would be left, or OpenSSL refuses; 20 for null
     */
    static int prepare_ssl_ctx(SSL_CTX* ctx) noexcept;

    /**
     * Puts a certificate with its key and chain into a context.
     * @return 0; 8793 the store does not give its key, 9110 OpenSSL refuses the certificate or its chain, 9129 the key,
     *         9130 they do not match, 13 a certificate cannot be decoded, 20 an empty argument, 36
     */
    int load_certificate_key_in_ssl_ctx(const WinCertStoreCertificate& certificate, SSL_CTX* ctx) noexcept;

    /** Acquires a certificate's key. @param data filled but for its count; QX_CRYPTO_DATA_free() or the last key's end
     *  releases what is in it @return 0; 8793; 20 for an empty certificate */
    static int acquire_private_key(const WinCertStoreCertificate& certificate, QX_CRYPTO_DATA& data) noexcept;

    /**
     * Tells whether the account of the process may use the private key of a certificate, and grants it where the
     * account lacks that right but is given the key all the same, as one that may change its permissions. An account
     * without any right is given no key: for a service an administrator grants it, by WinCertStorePrivateKey. Nothing
     * calls this on its own, as it may change the permissions of the key.
     * @return 0 when the account may use it, also after that has been granted, and where that is no matter of the
     *         store; 8790 when it may not and it cannot be granted, or the store does not give the key; 8793 there is
     *         no key; 20 for an empty certificate; 36
     */
    static int RequestPrivKeyPermissionsIfNeeded(const WinCertStoreCertificate& certificate) noexcept;

    /** Replaces the extra chain of a context's certificate by the issuers of @p certificate, without the root, which
     *  peers have themselves. @return 0; 9110; 20; 36 */
    static int append_chain(const WinCertStoreCertificate& certificate, SSL_CTX* ctx) noexcept;
    /** @param chain receives the certificate and its issuers as far as the stores know them, leaf first, to be released
     *               with its certificates; null after a failure @return 0; 13 unreadable; 20; 36 */
    static int get_cert_chain_x509_sk(const WinCertStoreCertificate& certificate, STACK_OF(X509)** chain) noexcept;
    /** As above without the leaf and without the root. */
    static int get_intermediates_x509_sk(const WinCertStoreCertificate& certificate, STACK_OF(X509)** chain) noexcept;
    /** @param root receives the root of the chain, to be released; null when the stores do not know it
     *  @return 0; 158 there is none; 13; 20; 36 */
    static int get_root_cert_x509(const WinCertStoreCertificate& certificate, X509** root) noexcept;
    static bool is_root_cert(X509* certificate) noexcept; ///< @return whether it is issued by itself; false for null
    /** @return the subject in one line ("O = House, CN = host"), empty for null */
    static std::string getSubjectFromX509Cert(X509* certificate) noexcept;

    /**
     * Gives a context an RSA object that signs through @p data.
     * @param data must outlive the context's key unless data->self keeps it
     * @param publicKey of the certificate, which should be in the context already: setting another certificate drops
     * the key
     * @return 1; 0 with OpenSSL's error queue telling more
     */
    static int qx_set_rsa_key_in_ssl_ctx(SSL_CTX* ctx, QX_CRYPTO_DATA* data, EVP_PKEY* publicKey) noexcept;

    /** Releases what a record holds and deletes it; made with new. Null is nothing to release. */
    static void QX_CRYPTO_DATA_free(QX_CRYPTO_DATA* data) noexcept;

    /** @name The RSA method
     * Callbacks of OpenSSL. Only the private encryption works: it signs. The others log and answer 0.
     * @{ */
    /** @return the length of the signature, 0 on failure */
    static int qx_rsa_meth_priv_enc(int flen, const unsigned char* from, unsigned char* to, RSA* rsa,
                                    int padding) noexcept;
    static int qx_rsa_meth_priv_enc_CNG(QX_CRYPTO_DATA* data, const unsigned char* from, int flen, unsigned char* to,
                                        int tosize, int padding) noexcept; ///< @return as qx_rsa_meth_priv_enc()
    static int qx_rsa_meth_pub_enc(int flen, const unsigned char* from, unsigned char* to, RSA* rsa,
                                   int padding) noexcept; ///< @return 0
    static int qx_rsa_meth_pub_dec(int flen, const unsigned char* from, unsigned char* to, RSA* rsa,
                                   int padding) noexcept; ///< @return 0
    static int qx_rsa_meth_priv_dec(int flen, const unsigned char* from, unsigned char* to, RSA* rsa,
                                    int padding) noexcept; ///< @return 0
    static int qx_finish(RSA* rsa) noexcept;               ///< counts a record's keys down @return 1
    /** @} */

    /** @name Reporting
     * @{ */
    /** Queues an OpenSSL error for a failed Windows call and logs it. @param step which call of the operation it was */
    static void qx_put_windows_error(const char* function, uint32_t error, int step, const char* file,
                                     int line) noexcept;
    static std::string qx_windows_error_string(uint32_t error) noexcept; ///< @return the platform's text
    /** Logs OpenSSL's error queue, which stays as it is. */
    static void qx_log_openssl_error(const char* function) noexcept;
    /** @} */

    /** @name OpenSSL's accessors
     * Each does what the one of the same name without "QX_" does.
     * @{ */
    /** EVP_PKEY_get0_RSA() */
    static RSA* QX_EVP_PKEY_get0_RSA(const EVP_PKEY* key) noexcept;
    /** RSA_get0_key() */
    static void QX_RSA_get0_key(const RSA* rsa, const BIGNUM** n, const BIGNUM** e, const BIGNUM** d) noexcept;
    /** RSA_get_method() */
    static const RSA_METHOD* QX_RSA_get_method(const RSA* rsa) noexcept;
    /** RSA_set0_key() */
    static int QX_RSA_set0_key(RSA* rsa, BIGNUM* n, BIGNUM* e, BIGNUM* d) noexcept;
    /** RSA_set_flags() */
    static void QX_RSA_set_flags(RSA* rsa, int flags) noexcept;
    /** RSA_meth_new() */
    static RSA_METHOD* QX_RSA_meth_new(const char* name, int flags) noexcept;
    /** RSA_meth_free() */
    static void QX_RSA_meth_free(RSA_METHOD* method) noexcept;
    /** RSA_meth_get0_app_data() */
    static void* QX_RSA_meth_get0_app_data(const RSA_METHOD* method) noexcept;
    /** RSA_meth_set0_app_data() */
    static int QX_RSA_meth_set0_app_data(RSA_METHOD* method, void* data) noexcept;
    /** RSA_meth_set_init() */
    static int QX_RSA_meth_set_init(RSA_METHOD* method, int (*init)(RSA*)) noexcept;
    /** RSA_meth_set_finish() */
    static int QX_RSA_meth_set_finish(RSA_METHOD* method, int (*finish)(RSA*)) noexcept;
    /** RSA_meth_set_pub_enc() */
    static int QX_RSA_meth_set_pub_enc(RSA_METHOD* method,
                                       int (*encrypt)(int, const unsigned char*, unsigned char*, RSA*, int)) noexcept;
    /** RSA_meth_set_pub_dec() */
    static int QX_RSA_meth_set_pub_dec(RSA_METHOD* method,
                                       int (*decrypt)(int, const unsigned char*, unsigned char*, RSA*, int)) noexcept;
    /** RSA_meth_set_priv_enc() */
    static int QX_RSA_meth_set_priv_enc(RSA_METHOD* method,
                                        int (*encrypt)(int, const unsigned char*, unsigned char*, RSA*, int)) noexcept;
    /** RSA_meth_set_priv_dec() */
    static int QX_RSA_meth_set_priv_dec(RSA_METHOD* method,
                                        int (*decrypt)(int, const unsigned char*, unsigned char*, RSA*, int)) noexcept;
    /** @} */

private:
    std::string m_path;
    Validator m_validator;
    std::list<std::shared_ptr<CertificateFilter>> m_filters;
    std::shared_ptr<CertificateSelector> m_selector;
    std::list<std::shared_ptr<QX_CRYPTO_DATA>> m_records;
};

} // namespace CmnCrypto::WinCertStore

#endif
