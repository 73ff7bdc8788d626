#ifndef CMNCRYPTO_TESTS_BRIDGE_H
#define CMNCRYPTO_TESTS_BRIDGE_H

#include <filesystem>

#include <openssl/err.h>
#include <openssl/rsa.h>
#include <openssl/ssl.h>

#include "testlib/FakeStore.h"
#include "testlib/Pki.h"
#include "testlib/Testlib.h"

#pragma GCC diagnostic ignored "-Wdeprecated-declarations" // RSA methods have no successor

namespace bridge {

using Helper = WinCertStoreOpenSSLHelper;
using Data = Helper::QX_CRYPTO_DATA;
using Lines = std::vector<std::string>;

const std::string path = "MY\\\\host";

inline RSA* rsaOf(const EVP_PKEY* key) {
    return const_cast<RSA*>(EVP_PKEY_get0_RSA(key));
}

/** One of RSA's operations, by OpenSSL itself for a key of keyOf(); "" where it refuses. */
inline std::string rsa(decltype(RSA_private_encrypt) operation, const std::string& data,
                       int padding = RSA_PKCS1_PADDING, RSA* key = rsaOf(keyOf("RSA-2048"))) {
    unsigned char out[512];
    const int size = operation(static_cast<int>(data.size()), bytes(data), out, key, padding);
    return std::string(out, out + std::max(size, 0));
}

/** A certificate in a store with a CNG key. */
inline FakeCertificate inStore(const Owned<X509>& certificate, uintptr_t handle = 7) {
    return {der(certificate.get()), "host", "", {}, 0, {}, {true, {}}, StoreKey{handle, ncryptKeySpec, true}, {}};
}

/** A fake platform with a certificate in the store "MY", which signs with the key of that kind. */
struct FakeBridge {
    explicit FakeBridge(const std::string& kind = "RSA-2048") {
        captureLog();
        platform->stores["MY"] = {inStore(makeCertificate(kind))};
        signer.sign = [=](bool pkcs1, const std::string& data) {
            return rsa(RSA_private_encrypt, data, pkcs1 ? RSA_PKCS1_PADDING : RSA_NO_PADDING, rsaOf(keyOf(kind)));
        };
    }
    std::shared_ptr<FakeStore> platform = fakePlatform();
    FakeSigning& signer = *platform->signer;
};

/** A store in a folder with a certificate of the key RSA-2048. */
struct RealStore {
    explicit RealStore(X509* certificate) {
        captureLog();
        std::filesystem::create_directory(folder.path("MY"));
        folder.write("MY/host.pem", pem(certificate) + pem(keyOf("RSA-2048")));
        setCertStorePlatform(std::make_shared<SoftwareCertStore>(folder.path("")));
    }
    ~RealStore() { setCertStorePlatform(nullptr); }
    Folder folder;
};

} // namespace bridge

#endif
