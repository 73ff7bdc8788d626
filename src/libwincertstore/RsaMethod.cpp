// The RSA method that signs with a key of a store.

// clang-format off: it must come before any other OpenSSL header
#include "ossl/DeprecatedRsa.h"
// clang-format on

#include <algorithm>
#include <new>

#include "cmncrypto/WinCertStoreOpenSSLHelper.h"
#include "libwincertstore/BridgeErrors.h"
#include "libwincertstore/StoreErrors.h"
#include "libwincertstore/StoreLog.h"
#include "ossl/OpenSsl.h"

namespace CmnCrypto::WinCertStore {

namespace {

using Record = WinCertStoreOpenSSLHelper::QX_CRYPTO_DATA;

constexpr const char* signTag = "WinCertStoreOpenSSLHelper::qx_rsa_meth_priv_enc";
constexpr const char* cngTag = "WinCertStoreOpenSSLHelper::qx_rsa_meth_priv_enc_CNG";
constexpr uint32_t sslSignatureLength = 36; ///< MD5 and SHA-1, what TLS below 1.2 signs

/** Which call of the signing a platform's error belongs to. */
enum Step { stepCreateHash = 3, stepHashSize = 4, stepSetHash = 5, stepSign = 6, stepCng = 9 };

std::shared_ptr<CertStorePlatform> platformOf(const Record& record) {
    return record.platform ? record.platform : certStorePlatform();
}

/** Queues an error and logs it with OpenSSL's text. @return 0, which is what a failed signing answers */
int refuse(int reason, int line) {
    putStoreError(functionSign, reason, signTag, bridgeFile, line);
    if (isLogged()) {
        const unsigned long code = ERR_peek_last_error();
        char text[256];
        ERR_error_string_n(code, text, sizeof text);
        WinCertStoreCommon::WinCertStoreLogError(signTag, code, text);
    }
    return 0;
}

int reportPlatform(const char* function, uint32_t error, Step step, int line) {
    WinCertStoreOpenSSLHelper::qx_put_windows_error(function, error, step, bridgeFile, line);
    return 0;
}

/** A CryptoAPI hash object that is destroyed again. */
struct Hash {
    explicit Hash(SigningBackEnd& backEnd) : signing(backEnd) {}
    ~Hash() {
        if (made) {
            signing.destroyHash(handle);
        }
    }
    Hash(const Hash&) = delete;
    Hash& operator=(const Hash&) = delete;

    SigningBackEnd& signing;
    uintptr_t handle = 0;
    bool made = false;
};

/** Makes a hash object that holds the 36 bytes. @return false after a failure that was reported */
bool fillHash(Hash& hash, uintptr_t provider, const unsigned char* value) {
    if (const uint32_t error = hash.signing.createHash(provider, hash.handle)) {
        return reportPlatform(signTag, error, stepCreateHash, __LINE__) != 0;
    }
    hash.made = true;
    uint32_t size = 0;
    if (const uint32_t error = hash.signing.hashSize(hash.handle, size)) {
        return reportPlatform(signTag, error, stepHashSize, __LINE__) != 0;
    }
    if (size != sslSignatureLength) {
        return refuse(reasonLengthRefused, __LINE__) != 0;
    }
    if (const uint32_t error = hash.signing.setHashValue(hash.handle, value)) {
        return reportPlatform(signTag, error, stepSetHash, __LINE__) != 0;
    }
    return true;
}

/** Signs with a CryptoAPI provider. @return the signature's length, 0 after a failure that was reported */
int signWithCryptoApi(const Record& record, int flen, const unsigned char* from, unsigned char* to, int size) {
    if (flen != static_cast<int>(sslSignatureLength)) {
        logFailureOf(signTag, {"flen != SSL_SIG_LENGTH"});
        putStoreError(functionSign, reasonLengthRefused, signTag, bridgeFile, __LINE__);
        return 0;
    }
    const std::shared_ptr<CertStorePlatform> platform = platformOf(record);
    Hash hash(platform->signing());
    if (!fillHash(hash, record.key_handle, from)) {
        return 0;
    }
    const std::unique_ptr<unsigned char[]> signature(new (std::nothrow) unsigned char[static_cast<size_t>(size)]);
    if (!signature) {
        return refuse(reasonNoMemory, __LINE__);
    }
    auto length = static_cast<uint32_t>(size);
    if (const uint32_t error = hash.signing.signHash(hash.handle, record.key_spec, signature.get(), length)) {
        return reportPlatform(signTag, error, stepSign, __LINE__);
    }
    length = std::min(length, static_cast<uint32_t>(size));
    std::reverse_copy(signature.get(), signature.get() + length, to); // the provider's lowest byte comes first
    return static_cast<int>(length);
}

int refuseOperation(const char* function) {
    logFailureOf(function, {"There is an issue with RSA_METHOD - Control should not have reached here!"});
    return 0;
}

/** Releases what a record holds, once. */
void releaseHeld(Record& record) {
    const std::shared_ptr<CertStorePlatform> platform = platformOf(record);
    if (record.free_key) {
        if (record.key_spec == ncryptKeySpec) {
            platform->signing().freeCngKey(record.key_handle);
        } else {
            platform->signing().releaseProvider(record.key_handle);
        }
        record.free_key = false;
    }
    platform->release(record.cert_context);
    record.cert_context = nullptr;
}

} // namespace

int WinCertStoreOpenSSLHelper::qx_rsa_meth_priv_enc(int flen, const unsigned char* from, unsigned char* to, RSA* rsa,
                                                    int padding) noexcept {
    auto* const record = static_cast<QX_CRYPTO_DATA*>(QX_RSA_meth_get0_app_data(QX_RSA_get_method(rsa)));
    if (record == nullptr) {
        return refuse(reasonNoRecord, __LINE__);
    }
    if (padding != RSA_PKCS1_PADDING) {
        return refuse(reasonPaddingRefused, __LINE__);
    }
    if (record->key_spec == ncryptKeySpec) {
        return qx_rsa_meth_priv_enc_CNG(record, from, flen, to, RSA_size(rsa), 1);
    }
    return signWithCryptoApi(*record, flen, from, to, RSA_size(rsa));
}

int WinCertStoreOpenSSLHelper::qx_rsa_meth_priv_enc_CNG(QX_CRYPTO_DATA* data, const unsigned char* from, int flen,
                                                        unsigned char* to, int tosize, int padding) noexcept {
    if (data == nullptr || flen < 0 || tosize < 0) {
        return refuse(reasonLengthRefused, __LINE__);
    }
    traceOf(cngTag, {"Signing hash using CNG: data size: ", std::to_string(flen)});
    const std::shared_ptr<CertStorePlatform> platform = platformOf(*data);
    uint32_t produced = 0;
    const uint32_t status = platform->signing().signCng(
        data->key_handle, padding != 0, from, static_cast<uint32_t>(flen), to, static_cast<uint32_t>(tosize), produced);
    if (status != 0) {
        return reportPlatform(cngTag, status, stepCng, __LINE__);
    }
    return static_cast<int>(produced);
}

int WinCertStoreOpenSSLHelper::qx_rsa_meth_pub_enc(int, const unsigned char*, unsigned char*, RSA*, int) noexcept {
    return refuseOperation("WinCertStoreOpenSSLHelper::qx_rsa_meth_pub_enc");
}

int WinCertStoreOpenSSLHelper::qx_rsa_meth_pub_dec(int, const unsigned char*, unsigned char*, RSA*, int) noexcept {
    return refuseOperation("WinCertStoreOpenSSLHelper::qx_rsa_meth_pub_dec");
}

int WinCertStoreOpenSSLHelper::qx_rsa_meth_priv_dec(int, const unsigned char*, unsigned char*, RSA*, int) noexcept {
    return refuseOperation("WinCertStoreOpenSSLHelper::qx_rsa_meth_priv_dec");
}

int WinCertStoreOpenSSLHelper::qx_finish(RSA* rsa) noexcept {
    auto* const record = static_cast<QX_CRYPTO_DATA*>(QX_RSA_meth_get0_app_data(QX_RSA_get_method(rsa)));
    if (record == nullptr) {
        return 1;
    }
    // Keys of one record may end on several threads at once.
    const int32_t before = __atomic_fetch_sub(&record->ref_count, 1, __ATOMIC_ACQ_REL);
    if (before < 1) { // the count before the decrement, deliberately: the record outlives its last key
        releaseHeld(*record);
    }
    return 1;
}

void WinCertStoreOpenSSLHelper::QX_CRYPTO_DATA_free(QX_CRYPTO_DATA* data) noexcept {
    if (data != nullptr) {
        releaseHeld(*data);
        delete data;
    }
}

} // namespace CmnCrypto::WinCertStore
