#include <filesystem>

#include <openssl/err.h>
#include <openssl/rsa.h>
#include <openssl/ssl.h>

#include "faults/Faults.h"
#include "faults/Operations.h"

#pragma GCC diagnostic ignored "-Wdeprecated-declarations" // RSA methods have no successor

using namespace faults;
using namespace CmnCrypto::WinCertStore;
using Helper = WinCertStoreOpenSSLHelper;

namespace {

const std::string path = "MY\\\\host", tag = "WinCertStoreOpenSSLHelper::";

/** Lists its folders with nothing that fails: the standard library ends the process where memory is short for that. */
class Store : public SoftwareCertStore {
public:
    using SoftwareCertStore::SoftwareCertStore;
    uint32_t openStore(const std::string& name, bool readOnly, CertStoreHandle& store) override {
        return spared([&] { return SoftwareCertStore::openStore(name, readOnly, store); });
    }
    uint32_t chain(CertContext context, std::vector<CertContext>& issuers) override {
        return spared([&] { return SoftwareCertStore::chain(context, issuers); });
    }
};

/** What becomes of a context that has a certificate already: the call's result, and whether it still has that one. */
template <class Call>
std::function<std::string()> renewing(const WinCertStoreCertificate& certificate, const Call& call) {
    return made([=] {
        Helper helper(path, nullptr, {});
        const Owned<SSL_CTX> context(spared([&] {
            SSL_CTX* const made = SSL_CTX_new(TLS_method());
            EXPECT_EQ(helper.load_certificate_key_in_ssl_ctx(certificate, made), 0);
            return made;
        }));
        const X509* const before = SSL_CTX_get0_certificate(context.get());
        const RSA* const key = EVP_PKEY_get0_RSA(SSL_CTX_get0_privatekey(context.get()));
        void* const record = RSA_meth_get0_app_data(RSA_get_method(key));
        const int result = call(helper, context.get(), static_cast<Helper::QX_CRYPTO_DATA*>(record));
        EXPECT_EQ(spared([&] { return SSL_CTX_check_private_key(context.get()); }), 1);
        ERR_clear_error(); // the queue is what some of them report by
        return std::to_string(result) + (SSL_CTX_get0_certificate(context.get()) == before ? " old" : " new");
    });
}

} // namespace

Operations faults::bridgeOperations(const Folder& folder) {
    std::filesystem::create_directory(folder.path("MY"));
    folder.write("MY/host.pem", pemOf("cert:RSA-2048+pkcs8:RSA-2048"));
    setCertStorePlatform(std::make_shared<Store>(folder.path("")));
    WinCertStoreCertificate found;
    EXPECT_EQ(CertificateSelector(path, {}).GetCertificate(found, false), 0);
    Operations all;
    const auto add = [&](const char* name, auto call) { all[tag + name] = renewing(found, call); };
    add("load_certificate_key_in_ssl_ctx",
        [=](auto& helper, auto* context, auto*) { return helper.load_certificate_key_in_ssl_ctx(found, context); });
    add("get_ssl_ctx", [](auto& helper, auto* context, auto*) { return helper.get_ssl_ctx(nullptr, context); });
    add("qx_rsa_meth_priv_enc", [](auto&, auto* context, auto* record) {
        record->key_spec = 1;
        unsigned char bytes[256] = {};
        auto* const key = const_cast<RSA*>(EVP_PKEY_get0_RSA(SSL_CTX_get0_privatekey(context)));
        return Helper::qx_rsa_meth_priv_enc(36, bytes, bytes, key, RSA_PKCS1_PADDING);
    });
    all[tag + "get_root_cert_x509"] =
        made([=] { return codeOf<X509>([&](auto to) { return Helper::get_root_cert_x509(found, to); }); });
    return all;
}
