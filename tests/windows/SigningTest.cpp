#include "windows/Machine.h"

namespace {

/** A new RSA key that is not to be exported, and goes with this: of CNG, or in a container of CryptoAPI. */
struct SystemKey {
    explicit SystemKey(bool isCng) {
        BYTE blob[1024];
        const BYTE* at = blob;
        DWORD size = sizeof blob, bits = 2048;
        if (isCng) {
            EXPECT_EQ(NCryptOpenStorageProvider(&provider, MS_KEY_STORAGE_PROVIDER, 0) |
                          NCryptCreatePersistedKey(provider, &key, BCRYPT_RSA_ALGORITHM, container.c_str(), 0, 0) |
                          NCryptSetProperty(key, NCRYPT_LENGTH_PROPERTY, reinterpret_cast<BYTE*>(&bits), 4, 0) |
                          NCryptFinalizeKey(key, 0) | // whose private part stays where it is unless told otherwise
                          NCryptExportKey(key, 0, BCRYPT_RSAPUBLIC_BLOB, nullptr, blob, size, &size, 0),
                      0);
            const auto* const header = reinterpret_cast<const BCRYPT_RSAKEY_BLOB*>(at);
            const std::string numbers(at + sizeof *header, at + size);
            const std::string modulus = '\0' + numbers.substr(header->cbPublicExp);
            const std::string encoded = tlv(0x30, tlv(2, modulus) + tlv(2, numbers.substr(0, header->cbPublicExp)));
            at = bytes(encoded);
            publicKey.reset(d2i_PublicKey(EVP_PKEY_RSA, nullptr, &at, static_cast<long>(encoded.size())));
        } else {
            HCRYPTKEY made = 0;
            open(CRYPT_NEWKEYSET);
            EXPECT_TRUE(CryptGenKey(provider, AT_KEYEXCHANGE, bits << 16, &made) &&
                        CryptExportKey(made, 0, PUBLICKEYBLOB, 0, blob, &size));
            publicKey.reset(b2i_PublicKey(&at, static_cast<long>(size)));
            EXPECT_FALSE(CryptExportKey(made, 0, PRIVATEKEYBLOB, 0, blob, &size));
            CryptDestroyKey(made);
            CryptReleaseContext(provider, 0); // now it is in its container
        }
    }
    ~SystemKey() {
        if (key == 0) {
            open(CRYPT_DELETEKEYSET);
        } else if (NCryptDeleteKey(key, 0) != 0) { // where none is kept
            NCryptFreeObject(key);
        }
    }
    void open(DWORD flags) {
        EXPECT_TRUE(CryptAcquireContextW(&provider, container.c_str(), nullptr, PROV_RSA_FULL, flags));
    }
    std::wstring container = L"cmncrypto-test-" + std::to_wstring(GetCurrentProcessId());
    ULONG_PTR provider = 0, key = 0;
    Owned<EVP_PKEY> publicKey;
};

/** A context whose certificate is in a store of the machine. */
struct Loaded {
    explicit Loaded(bool isCng) : key(isCng) {
        bench.make("MY");
        bench.machine->cngKeys[der(certificate.get())] = key.key;
        bench.put("MY", certificate.get(), isCng ? nullptr : key.container.c_str());
        EXPECT_EQ(helper.get_ssl_ctx(nullptr, context.get()), 0);
    }
    static Owned<X509> issued(EVP_PKEY* publicKey, const std::string& subject) {
        return makeCertificate("RSA-2048", [&](X509* made) {
            X509_set_subject_name(made, nameFrom("CN=" + subject).get());
            X509_set_issuer_name(made, nameFrom("CN=authority").get());
            X509_set_pubkey(made, publicKey);
            X509_add_ext(made, makeExtension(NID_basic_constraints, fromHex("30030101ff")).get(), -1);
        });
    }
    const SystemKey key;
    MachineBench bench;
    const Owned<X509> certificate = issued(key.publicKey.get(), "host");
    bridge::Helper helper{bridge::path, nullptr, {}};
    const Owned<SSL_CTX> context{SSL_CTX_new(TLS_server_method())};
};

using Operation = int (*)(EVP_PKEY_CTX*);
Owned<EVP_PKEY_CTX> prepared(Operation begin, EVP_PKEY* key, const EVP_MD* digest) {
    Owned<EVP_PKEY_CTX> context(EVP_PKEY_CTX_new(key, nullptr));
    begin(context.get());
    EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING);
    EVP_PKEY_CTX_set_signature_md(context.get(), digest);
    return context;
}

/** Signs a digest, or bytes as they are for none. @return whether the certificate verifies it; -1 for a refusal */
int outcome(const Loaded& by, const EVP_MD* digest, const std::string& data) {
    unsigned char signature[256];
    size_t size = sizeof signature;
    const auto sign = prepared(EVP_PKEY_sign_init, SSL_CTX_get0_privatekey(by.context.get()), digest);
    const auto verify = prepared(EVP_PKEY_verify_init, X509_get0_pubkey(by.certificate.get()), digest);
    const int made = EVP_PKEY_sign(sign.get(), signature, &size, bytes(data), data.size());
    return made != 1 || size == 0 ? -1 : EVP_PKEY_verify(verify.get(), signature, size, bytes(data), data.size());
}

TEST(WindowsSigning, SignaturesOnEightThreads) {
    captureLog();
    for (const bool isCng : {true, false}) {
        const Loaded loaded(isCng);
        const auto digests = isCng ? std::array{EVP_sha1(), EVP_sha256(), EVP_sha384(), EVP_sha512()}
                                   : std::array<const EVP_MD*, 4>{EVP_md5_sha1()}; // and bytes as they are
        std::atomic<int> verified{0};
        std::vector<std::thread> threads;
        for (uint32_t seed = 0; seed < 8000; seed += 1000) {
            threads.emplace_back([&, seed] {
                for (uint32_t i = 0; i < 20; ++i) {
                    const EVP_MD* const digest = digests[i % 4];
                    const size_t size = digest == nullptr ? 36 : static_cast<size_t>(EVP_MD_get_size(digest));
                    verified += outcome(loaded, digest, pseudoRandom(size, seed + i));
                }
            });
        }
        std::for_each(threads.begin(), threads.end(), [](auto& thread) { thread.join(); });
        EXPECT_EQ(verified, 160) << isCng;
        const std::string refusal = "16 - WinCertStoreOpenSSLHelper::qx_rsa_meth_priv_enc: flen != SSL_SIG_LENGTH";
        for (const size_t size : isCng ? std::vector<size_t>() : std::vector<size_t>{35, 37, 32}) {
            takeLog();
            EXPECT_EQ(outcome(loaded, size == 32 ? EVP_sha256() : nullptr, pseudoRandom(size, 1)), -1);
            EXPECT_TRUE(failuresLogged({refusal}));
        }
    }
}

TEST(WindowsSigning, Handshakes) {
    for (const int version : {TLS1_2_VERSION, TLS1_1_VERSION}) { // in 1.1 the server signs 36 bytes
        const Loaded loaded(version == TLS1_2_VERSION);
        Talk talk(false, Owned<SSL>(SSL_new(loaded.context.get())));
        for (SSL* const end : {talk.client.get(), talk.server.get()}) {
            SSL_set_security_level(end, version == TLS1_2_VERSION ? 2 : 0);
            SSL_set_max_proto_version(end, version);
            SSL_set_min_proto_version(end, version);
        }
        X509_STORE_add_cert(SSL_CTX_get_cert_store(SSL_get_SSL_CTX(talk.client.get())),
                            Loaded::issued(keyOf("RSA-2048"), "authority").get());
        SSL_set_verify(talk.client.get(), SSL_VERIFY_PEER, nullptr);
        EXPECT_EQ(talk.shakeHands(), "0") << version;
        EXPECT_EQ(std::string(SSL_get_cipher_name(talk.client.get()), 9), "ECDHE-RSA"); // which takes a signature
    }
}

TEST(WindowsSigning, ListsOfWhoMayUseAKey) {
    for (const auto& [before, account, after] : std::vector<std::array<std::string, 3>>{
             {"D:PAI(A;;GA;;;SY)(A;;GR;;;BA)", "-SYSTEM", "D:PAI(A;;0x1f0176;;;SY)(A;;GR;;;BA)"},
             {"D:P(D;;GR;;;LS)(A;;GR;;;LS)(A;;FR;;;LS)(A;;GRGW;;;LS)", "-LOCAL SERVICE", "D:P(D;;GR;;;LS)(A;;GW;;;LS)"},
             {"D:PAI(A;;GA;;;SY)", "+LOCAL SERVICE", "D:PAI(A;;GR;;;LS)(A;;GA;;;SY)"},
             {"D:(A;;GA;;;SY)", "+", ""}}) {
        void* made = nullptr;
        char* text = nullptr;
        ULONG size = 0;
        ConvertStringSecurityDescriptorToSecurityDescriptorA(before.c_str(), 1, &made, &size);
        SecurityDescriptor list(static_cast<unsigned char*>(made), static_cast<unsigned char*>(made) + size);
        const uint32_t error = Machine().keySecurity()->setRead(list, account.substr(1), account[0] == '+');
        ConvertSecurityDescriptorToStringSecurityDescriptorA(list.data(), 1, DACL_SECURITY_INFORMATION, &text, nullptr);
        EXPECT_TRUE(error == (after.empty() ? ERROR_NONE_MAPPED : 0) && text == (error == 0 ? after : before)) << text;
        EXPECT_EQ(LocalFree(made), LocalFree(text));
    }
}

} // namespace
