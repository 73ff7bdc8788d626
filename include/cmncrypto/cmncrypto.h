/** @file
 * The flat interface of libcmncryptocore: everything that a host without classes needs, in C99 and C++.
 *
 * Unless a function says otherwise:
 * - results are product status codes, 0 for success; 20 stands for an invalid argument, 36 for an
 *   allocation that failed, 114 for a digest or OpenSSL failure, 8787 for an algorithm refused in FIPS mode;
 * - no C++ exception leaves a function: it becomes its code, or -1 where it carries none;
 * - memory handed out is allocated with malloc and released by the host with free();
 * - a failure is logged at level 16 before it is reported;
 * - functions may be called from several threads at once as long as they work on different objects.
 */
#ifndef CMNCRYPTO_CMNCRYPTO_H
#define CMNCRYPTO_CMNCRYPTO_H

#include <openssl/pem.h>
#include <openssl/types.h>
#include <openssl/x509.h>

#include "cmncrypto/export.h"
#include "cmncrypto/types.h"

#ifdef __cplusplus
extern "C" {
#endif

/** @name Logging
 * The two callback slots are plain process-wide settings: install them before threads start. With no
 * callback a message costs a pointer test and is lost.
 * @{ */

/**
 * Installs the host's logging callbacks. A null argument leaves its slot as it was; a slot cannot be cleared.
 * @param simple receives what the library logs with clogmsg(), and with clogmsgv() while there is no @p extended
 * @param extended receives what the library logs with clogmsgv(), and with clogmsg() while there is no @p simple
 * @return 1 when a callback was given, 0 when both are null
 */
CMNCRYPTO_API int set_log_callback(cmncrypto_log_cb simple, cmncrypto_log_detail_cb extended);

/** As set_log_callback(), and tells the new callback at level 2 that it is installed. */
CMNCRYPTO_API int cmncrypto_set_log_callback(cmncrypto_log_cb simple, cmncrypto_log_detail_cb extended);

/**
 * Formats a message and hands it to the simple callback, else to the extended one with detail 0.
 * @param level 16, 8, 4 or 2
 * @param function name of the reporting function, handed on as it is
 * @param format as for printf(); a message longer than 8191 characters is cut
 * @return what the callback returned, 0 when there is none
 */
CMNCRYPTO_API int clogmsg(int level, const char* function, const char* format, ...) CMNCRYPTO_PRINTF(3, 4);

/** As clogmsg() with a detail number; prefers the extended callback, else drops the detail. */
CMNCRYPTO_API int clogmsgv(int level, int detail, const char* function, const char* format, ...) CMNCRYPTO_PRINTF(4, 5);
/** @} */

/** @name FIPS mode
 * Process-wide; switch it before threads start.
 * @{ */

/**
 * Starts OpenSSL and brings FIPS mode (FIPS 140) to @p fipsMode, 0 off and non-zero on. The outcome is what
 * cmncrypto_get_ssl_fips_mode() says afterwards: a host without a FIPS provider stays out of FIPS mode, the
 * reason is logged, and everything goes on working.
 */
CMNCRYPTO_API void cmncrypto_enable_fips_mode(int fipsMode);

/** @return 1 while OpenSSL's default algorithms are restricted to FIPS ones, otherwise 0 */
CMNCRYPTO_API int cmncrypto_get_ssl_fips_mode(void);

/** Tries MD5. @return 1 when it is refused (FIPS mode is in force), 0 when it works or could not be tried */
CMNCRYPTO_API int cmncrypto_testFipsCompliance(void);
/** @} */

/** @name Hashing
 * @{ */

/**
 * Starts a digest.
 * @param handle receives kind 1 and the generator; release it with CmnCrypto_release_Obj()
 * @return 1; 20 for a null handle; 114 for an unknown algorithm, 8787 for MD5 in FIPS mode (the handle is
 *         then as it was)
 */
CMNCRYPTO_API int CmnCrypto_init_hasher(CmnCryptoHandle* handle, _HASH_ALGO algorithm);

/**
 * Feeds @p length bytes to the digest.
 * @return 1; 20 for another kind of handle, a negative length or no data; 114 when the digest is finished
 */
CMNCRYPTO_API int CmnCrypto_hasher_update(CmnCryptoHandle* handle, const void* data, int length);

/**
 * Finishes the digest as lower-case hexadecimal text.
 * @param out receives the NUL-terminated text, to be released with free(); untouched on failure, null with code 36
 * @return 1; 20 for another kind of handle or a null @p out; 36; 114 when the digest was finished before
 */
CMNCRYPTO_API int CmnCrypto_hasher_generateHash(CmnCryptoHandle* handle, char** out);

/**
 * Finishes the digest as raw bytes.
 * @param out receives the bytes, to be released with free()
 * @param outLength receives their number
 * @return 1, or 0 on any failure
 */
CMNCRYPTO_API int CmnCrypto_hasher_generateBinaryHash(CmnCryptoHandle* handle, void** out, unsigned int* outLength);

/**
 * Copies the running state of one digest into another of the same algorithm, so that the digest of a common
 * prefix can go on in two ways. The kind of @p target is not checked: it must hold a hash generator.
 * @return 1, or 0 when the source is no hash generator, the algorithms differ or OpenSSL refuses
 */
CMNCRYPTO_API int CmnCrypto_context_copy(CmnCryptoHandle* source, CmnCryptoHandle* target);

/** Deletes the object of a handle and empties the handle. @return 0, also for a handle that is empty */
CMNCRYPTO_API int CmnCrypto_release_Obj(CmnCryptoHandle* handle);

/**
 * Hashes one buffer into lower-case hexadecimal text.
 * @param data may be null when @p length is 0
 * @param out receives the NUL-terminated text, to be released with free(); null with any failure
 * @return 0; 20 for a null @p out; 36; 114 for an unknown algorithm, null data with a length, or a failure of
 *         OpenSSL; 8787 for MD5 in FIPS mode
 */
CMNCRYPTO_API int cmncrypto_getHash(const char* data, size_t length, char** out, _HASH_ALGO algorithm);

/**
 * Hashes one buffer into raw bytes.
 * @param data may be null when @p length is 0
 * @param out receives the digest, to be released with free(); untouched with code 20, null with any other failure
 * @param outLength receives its length in bytes
 * @return 0; 20 for null data with a length, a null @p out or @p outLength; 36; 114; 8787
 */
CMNCRYPTO_API int cmncrypto_getBinaryHash(const unsigned char* data, size_t length, _HASH_ALGO algorithm,
                                          unsigned char** out, size_t* outLength);

/**
 * Fingerprint of a certificate as people see it: upper-case hexadecimal pairs joined by ":".
 * @param certificate stays the caller's
 * @param algorithm SHA256, SHA512 or SHA1
 * @param out holds at least @p outSize + 1 characters: at most @p outSize are copied and a NUL follows them,
 *            at index @p outSize when the fingerprint is that long or longer
 * @return 0; 20 when @p out or the certificate is null or the algorithm has no fingerprint; 13 when the digest fails
 */
CMNCRYPTO_API int cmncrypto_generateHashForDisplay(X509* certificate, _HASH_ALGO algorithm, char* out, size_t outSize);

/**
 * Fingerprint of a certificate as raw bytes.
 * @param out is filled with @p outSize zero bytes first and then receives the whole digest: it must hold the
 *            digest's length even when @p outSize is smaller
 * @return as cmncrypto_generateHashForDisplay()
 */
CMNCRYPTO_API int cmncrypto_generateHashInBin(X509* certificate, _HASH_ALGO algorithm, unsigned char* out,
                                              size_t outSize);
/** @} */

/** @name Random numbers and passwords
 * All from OpenSSL's generator (NIST SP 800-90A). Safe to call from several threads at once.
 * @{ */

/**
 * Fills a buffer with @p count random bytes.
 * @return 0
 * @throws CmnCrypto::CmnException with code 114 when the generator fails: this function lets it through
 */
CMNCRYPTO_API int cmncrypto_getRandomBytes(unsigned char* buffer, int count);

/**
 * Draws @p count random bytes as text.
 * @param out receives the NUL-terminated text, to be released with free()
 * @param format a ::_BIGNUM_CONVERSION value
 * @return 0
 * @throws CmnCrypto::CmnException with code 114 (generator, allocation or format) or 20 (null @p out): this
 *         function lets it through
 */
CMNCRYPTO_API int cmncrypto_getRandomNumber(char** out, int format, int count);

/** @return four random bytes in machine byte order, or 0 when the generator fails */
CMNCRYPTO_API uint32_t V_random(void);

/** Does nothing; kept for callers of the old interface. @return 0 */
CMNCRYPTO_API int V_srandom(void);

/**
 * Writes a random password of @p size - 1 characters out of a-z, A-Z and 0-9, and a NUL. A size of 1 or less
 * leaves an empty password; never fails visibly.
 * @param out holds @p size bytes
 */
CMNCRYPTO_API void generatePassword(char* out, int size);

/**
 * The fixed 2048-bit Diffie-Hellman group of the TLS recipe: a safe prime of our own and generator 2.
 * @return a new object that the caller releases with DH_free(), or null
 */
CMNCRYPTO_API DH* get_dh2048(void);

/** Fills a buffer with @p length random bytes. @return 0, or 114 when the generator fails or an argument is bad */
CMNCRYPTO_API int mangleGetRandom(unsigned char* buffer, int length);
/** @} */

/** @name Certificates and private keys
 * The counterparts of the static members of CmnCrypto::X509Certificate and CmnCrypto::X509PrivateKey, where what they
 * do and their codes are described, and of CmnCrypto::CertificatePrivateKeyFactory and CmnCrypto::PrivateKeyUtils.
 * All return 0 for success.
 * @{ */

/** Packs a certificate and its private key into PKCS#12: X509Certificate::convertToPKCS12(). */
CMNCRYPTO_API int cmncrypto_convertToPKCS12(X509* certificate, EVP_PKEY* key, char* password, unsigned char* out,
                                            int* length);

/** Unpacks a PKCS#12 bundle: X509Certificate::extractCertFromPKCS12(). The caller releases both results. */
CMNCRYPTO_API int cmncrypto_extractCertFromPKCS12(const unsigned char* data, int length, const char* password,
                                                  X509** certificate, EVP_PKEY** key);

/**
 * Writes a certificate as PEM.
 * @param certificate stays the caller's
 * @param pem receives the NUL-terminated text, to be released with free(); null after a failure
 * @return 0; 5900 when the certificate cannot be written, also for null; 36; 20 for a null @p pem
 */
CMNCRYPTO_API int cmncrypto_getPEMfromCertificate(X509* certificate, char** pem);

/** Releases a certificate, if any, and sets it to null. @return 0 */
CMNCRYPTO_API int cmncrypto_releaseCertificate(X509** certificate);

/** Makes an RSA key: X509PrivateKey::generatePrivateKey(). Release it with cmncrypto_releasePrivateKey(). */
CMNCRYPTO_API int cmncrypto_generatePrivateKey(unsigned short bits, EVP_PKEY** key);

/**
 * Makes a self-signed certificate: X509PrivateKey::generateSelfSignCertificate(). Release it with
 * cmncrypto_releaseCertificate(). A failure releases the caller's @p key, too, and sets it to null.
 */
CMNCRYPTO_API int cmncrypto_generateSelfSignCertificate(unsigned short days, _HASH_ALGO algorithm,
                                                        subTokenValuePair* subject, EVP_PKEY** key, X509** certificate);

/** Releases a key, if any; the pointer stays as it is: the caller sets it to null. @return 0 */
CMNCRYPTO_API int cmncrypto_releasePrivateKey(EVP_PKEY** key);

/** Reads a private key out of a PEM file: CertificatePrivateKeyFactory::generateEVP_PKEY(); 20 for a null @p path. */
CMNCRYPTO_API int generateEVP_PKEY_c(const char* path, cmncrypto_cert_log_cb logger, pem_password_cb* callback,
                                     void* userData, EVP_PKEY** key);

/**
 * Reads all certificates of a PEM file: CertificatePrivateKeyFactory::generateX509Certificates(); 20 for a null
 * @p path.
 */
CMNCRYPTO_API int generateX509Certificates_c(const char* path, cmncrypto_cert_log_cb logger,
                                             STACK_OF(X509)** certificates);

/**
 * Reads the first certificate of a PEM file: CertificatePrivateKeyFactory::generateX509LeafCertificate(); 20 for a
 * null @p path.
 */
CMNCRYPTO_API int generateX509LeafCertificate_c(const char* path, cmncrypto_cert_log_cb logger, X509** certificate);

/** Tells whether the private key of a PEM file is encrypted: PrivateKeyUtils::is_private_key_file_encrypted(); 20 for
 *  a null @p path. */
CMNCRYPTO_API int is_private_key_file_encrypted_c(const char* path, cmncrypto_cert_log_cb logger, int* encrypted);
/** @} */

/** @name Revocation
 * @{ */

/**
 * Translates a status number of the revocation checks into the X509_V_ERR_ value with which a verification callback
 * reports it to OpenSSL (X509_STORE_CTX_set_error()).
 * @param code 0 good, 1 no issuer of the list found, 3 revoked, 4 stale, 6 the list's signature is wrong, 7 no list, 8
 *             the list is not valid yet, 10 the list's issuer may not sign lists
 * @return the verify error; 1 (X509_V_ERR_UNSPECIFIED) for any other number
 */
CMNCRYPTO_API int cmncrypto_getSSLVerifyErrorCode(int code);
/** @} */

/** @name TLS
 * The counterparts of the members of CmnCrypto::TLSOperations and CmnCrypto::SSLCTXHelper, where what they do and their
 * codes are described. All return 0 for success.
 * @{ */

/**
 * Sets up one connection with a certificate and key in memory: TLSOperations::tlsInitClient(). The context is made for
 * this call and lives as long as the connection: for many connections one TLSOperations is faster.
 */
CMNCRYPTO_API int cmncrypto_tlsInitClient(X509* certificate, EVP_PKEY* key, const char* cipherList, SSL** ssl);

/** Runs the server's handshake: TLSOperations::tlsAccept(). The caller frees the connection when it fails. */
CMNCRYPTO_API int cmncrypto_tlsAccept(int socket, SSL** ssl);

/** Reads what has arrived: TLSOperations::tlsRead(). */
CMNCRYPTO_API int cmncrypto_tlsRead(SSL* ssl, uint64_t socket, int size, void* buffer, int* count);

/** Writes: TLSOperations::tlsWrite(). */
CMNCRYPTO_API int cmncrypto_tlsWrite(uint64_t socket, const void* data, uint64_t length, SSL** ssl, int* count);

/** Closes a connection and frees it: TLSOperations::tlsFinish(). */
CMNCRYPTO_API int cmncrypto_tlsFinish(SSL* ssl, uint64_t socket);

/** Trusts the authorities of a PEM file: SSLCTXHelper::set_ca_cert_in_ssl_context(); 20 for a null @p path. */
CMNCRYPTO_API int set_ca_cert_in_ssl_context_c(const char* path, cmncrypto_cert_log_cb logger, SSL_CTX* context);

/** Takes a certificate and its chain from a PEM file: SSLCTXHelper::set_cert_chain_in_ssl_context(); 20 for a null
 *  @p path. */
CMNCRYPTO_API int set_cert_chain_in_ssl_context_c(const char* path, cmncrypto_cert_log_cb logger, SSL_CTX* context);

/**
 * Takes a private key from a PEM file: SSLCTXHelper::set_private_key_in_ssl_context(); 20 for a null @p path.
 * @param passPhrase NUL-terminated; empty or null for none
 */
CMNCRYPTO_API int set_private_key_in_ssl_context_c(const char* path, const char* passPhrase,
                                                   cmncrypto_cert_log_cb logger, SSL_CTX* context);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
