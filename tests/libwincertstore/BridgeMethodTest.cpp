// The RSA method that signs with a store's key, as OpenSSL calls it.

#include <climits>
#include <thread>

#include "libwincertstore/Bridge.h"

using namespace bridge;

namespace {

const std::string signTag = "WinCertStoreOpenSSLHelper::qx_rsa_meth_priv_enc";
const std::string digests(36, 'm'), digestInfo(51, 'd'), untouched(256, '?');

/** An error of the bridge's own in the queue and in the log. */
std::string queued(int reason) {
    return "20 " + std::to_string(reason) + " WinCertStoreOpenSSLHelper: function 102";
}
const std::string refusal = "16 - " + signTag + ": error:*Error: #";

/** What has been signed, or the error that is queued: library, reason, file and text. */
template <class Call> std::string result(const Call& call) {
    std::string out = untouched;
    ERR_clear_error();
    const int length = call(reinterpret_cast<unsigned char*>(out.data()));
    const char* file = "";
    const char* data = "";
    const unsigned long code = ERR_get_error_all(&file, nullptr, nullptr, &data, nullptr);
    EXPECT_TRUE(length > 0 ? code == 0 : length == 0 && out == untouched && ERR_peek_error() == 0);
    const std::string error = std::to_string(ERR_GET_LIB(code)) + " " + std::to_string(ERR_GET_REASON(code)) + " ";
    return length > 0 ? out.substr(0, static_cast<size_t>(length)) : code == 0 ? "" : error + file + ": " + data;
}

/** A context with the certificate of the store. */
struct Loaded {
    Helper helper{path, nullptr, {}};
    const Owned<SSL_CTX> context{SSL_CTX_new(TLS_method())};
    const int code = helper.get_ssl_ctx(nullptr, context.get());
    RSA* const key = rsaOf(SSL_CTX_get0_privatekey(context.get()));
    Data* const record = static_cast<Data*>(RSA_meth_get0_app_data(RSA_get_method(key)));
};

std::string sign(const Loaded& by, const std::string& data, int padding = RSA_PKCS1_PADDING) {
    const auto size = static_cast<int>(data.size());
    return result([&](auto* out) { return RSA_private_encrypt(size, bytes(data), out, by.key, padding); });
}

std::string signCng(Data* record, const std::string& data, int padding, int size = 256) {
    const auto length = static_cast<int>(data.size());
    const auto call = Helper::qx_rsa_meth_priv_enc_CNG;
    return result([&](auto* out) { return call(record, bytes(data), length, out, size, padding); });
}

TEST(BridgeMethod, CngSignsWhatItGets) {
    const RealStore store(makeCertificate("RSA-2048").get());
    const Loaded loaded;
    Data* const record = loaded.record;
    takeLog();
    const std::string trace = "2 v10 " + signTag + "_CNG: Signing hash using CNG: data size: ";
    for (const std::string& data : {digestInfo, digests, std::string(), std::string("1"), std::string(245, 0)}) {
        EXPECT_EQ(rsa(RSA_public_decrypt, sign(loaded, data)), data);
        EXPECT_TRUE(logged({trace + std::to_string(data.size())}));
    }
    const std::string block = '\0' + std::string(255, 'b');
    EXPECT_EQ(rsa(RSA_public_decrypt, signCng(record, block, 0), RSA_NO_PADDING), block);
    const auto refused = [](uint32_t error, const std::string& number, const std::string& answer) {
        const std::string text = Helper::qx_windows_error_string(error);
        EXPECT_EQ(answer, "128 9 WinCertStoreOpenSSLHelper: Windows Error: 0x" + number + " " + text);
        EXPECT_TRUE(failuresLogged({"16 - " + signTag + "_CNG: " + text + " Windows Error: 0x" + number}));
    };
    refused(0x80090020, "80090020", sign(loaded, std::string(246, 'l')));
    refused(0x80090020, "80090020", signCng(record, digestInfo, 0));
    refused(0x80090004, "80090004", signCng(record, digestInfo, 1, 255));
    ++record->key_handle;
    refused(0x80090026, "80090026", sign(loaded, digestInfo));
    --record->key_handle;
    EXPECT_EQ(signCng(nullptr, digestInfo, 1), queued(131));
    EXPECT_EQ(signCng(record, digestInfo, 1, -1), queued(131));
}

TEST(BridgeMethod, CryptoApiSigns36Bytes) {
    auto store = std::make_unique<RealStore>(makeCertificate("RSA-2048").get());
    const Loaded real;
    store.reset();
    real.record->key_spec = 1;
    const std::string signature = sign(real, digests);
    EXPECT_EQ(RSA_verify(NID_md5_sha1, bytes(digests), 36, bytes(signature), 256, rsaOf(keyOf("RSA-2048"))), 1);

    FakeBridge fake;
    const Loaded loaded;
    loaded.record->key_spec = 2;
    fake.signer.sign = [](bool, const std::string&) { return "most...least"; };
    EXPECT_EQ(sign(loaded, digests), "most...least"); // the platform had it the other way round
    const Lines calls = fake.signer.takeCalls();
    const std::string hash = calls.at(1).substr(8);
    EXPECT_EQ(calls, (Lines{"createHash 7", "hashSize" + hash, "setHashValue" + hash + " " + toHex(digests),
                            "signHash" + hash + " 2", "destroyHash" + hash}));
    for (const size_t length : {0U, 35U, 37U, 51U}) {
        takeLog();
        EXPECT_EQ(sign(loaded, std::string(length, 'm')), queued(131));
        EXPECT_TRUE(fake.signer.takeCalls().empty() && logged({"16 - " + signTag + ": flen != SSL_SIG_LENGTH"}));
    }
    for (const uint32_t size : {0U, 20U, 35U, 37U}) {
        fake.signer.digestSize = size;
        EXPECT_EQ(sign(loaded, digests), queued(131));
        EXPECT_TRUE(logged({refusal}) && fake.signer.takeCalls().back().find("destroyHash") == 0);
    }
}

TEST(BridgeMethod, Refusals) {
    FakeBridge fake;
    for (const auto& row : readRows("bridge-steps.txt")) {
        const Loaded loaded;
        loaded.record->key_spec = static_cast<uint32_t>(std::stoul(row[0]));
        for (const std::string& text : {std::string("error 2148073483"), std::string()}) {
            fake.platform->fail("errorText", noMemory, text.empty() ? 0 : INT_MAX);
            fake.signer.fail(row[1], 0x8009000b);
            EXPECT_EQ(sign(loaded, digests),
                      "128 " + row[3] + " WinCertStoreOpenSSLHelper: Windows Error: 0x8009000b " + text);
            const std::string function = "16 - WinCertStoreOpenSSLHelper::" + row[2] + ": ";
            EXPECT_TRUE(logged(function, {function + text + " Windows Error: 0x8009000b"}));
            const Lines calls = fake.signer.takeCalls();
            const auto isEnd = [](const auto& one) { return one.find("destroyHash") == 0; };
            EXPECT_EQ(std::count_if(calls.begin(), calls.end(), isEnd), std::stoi(row[4]));
        }
        fake.signer.clear();
        for (const int padding : {0, 2, 3, 4, 5, 6, -1, INT_MAX}) {
            takeLog();
            EXPECT_EQ(sign(loaded, digests, padding), queued(118));
            EXPECT_TRUE(fake.signer.takeCalls().empty() && logged({refusal}));
        }
        for (const auto operation : {RSA_public_encrypt, RSA_public_decrypt, RSA_private_decrypt}) {
            EXPECT_EQ(result([&](auto* out) { return operation(256, bytes(untouched), out, loaded.key, 1); }), "");
            EXPECT_TRUE(logged({std::string("16 - WinCertStoreOpenSSLHelper::qx_rsa_meth_") +
                                (operation == RSA_private_decrypt ? "priv" : "pub") +
                                (operation == RSA_public_encrypt ? "_enc" : "_dec") +
                                ": There is an issue with RSA_METHOD - Control should not have reached here!"}));
        }
    }
    RSA* const plain = rsaOf(keyOf("RSA-2048"));
    const auto call = [&](auto* out) { return Helper::qx_rsa_meth_priv_enc(36, bytes(digests), out, plain, 1); };
    EXPECT_EQ(result(call), queued(67));
    EXPECT_TRUE(logged({refusal}) && Helper::qx_finish(plain) == 1);
}

TEST(BridgeMethod, WhatIsInstalled) {
    FakeBridge fake;
    const Loaded loaded;
    const RSA* const key = loaded.key;
    Data* const record = loaded.record;
    const RSA_METHOD* const method = RSA_get_method(key);
    const RSA* const whole = rsaOf(keyOf("RSA-2048"));
    EXPECT_EQ(loaded.code, 0);
    EXPECT_EQ(record->ref_count, 1);
    EXPECT_EQ(RSA_meth_get0_name(method), std::string("Microsoft Cryptography API RSA Method"));
    EXPECT_EQ(RSA_meth_get_flags(method), 1);
    EXPECT_EQ(RSA_meth_get_priv_enc(method), Helper::qx_rsa_meth_priv_enc);
    EXPECT_TRUE(RSA_meth_get_init(method) == nullptr && RSA_meth_get_finish(method) == Helper::qx_finish);
    EXPECT_EQ(Helper::QX_RSA_meth_get0_app_data(method), RSA_meth_get0_app_data(method));
    EXPECT_TRUE(RSA_test_flags(key, RSA_FLAG_EXT_PKEY) != 0 && RSA_get0_d(key) == nullptr);
    EXPECT_TRUE(BN_cmp(RSA_get0_n(key), RSA_get0_n(whole)) == 0 && BN_cmp(RSA_get0_e(key), RSA_get0_e(whole)) == 0);
    std::string name = "name";
    const Owned<RSA_METHOD> named(Helper::QX_RSA_meth_new(name.c_str(), 77));
    name = "gone";
    EXPECT_EQ(RSA_meth_get0_name(named.get()) + std::to_string(RSA_meth_get_flags(named.get())), "name77");

    const auto install = [](const Owned<SSL_CTX>& to, Data* by, const char* kind) {
        return Helper::qx_set_rsa_key_in_ssl_ctx(to.get(), by, *kind == '\0' ? nullptr : keyOf(kind));
    };
    const Owned<SSL_CTX> empty(SSL_CTX_new(TLS_method()));
    takeLog();
    EXPECT_EQ(install(empty, record, "") + install(empty, record, "P-256"), 0);
    EXPECT_TRUE(logged(Lines(2, "16 - WinCertStoreOpenSSLHelper::qx_set_rsa_key_in_ssl_ctx: pub_rsa is NULL.")));
    EXPECT_EQ(install(empty, nullptr, "RSA-2048") + install(nullptr, record, "RSA-2048"), 0);
    EXPECT_TRUE(SSL_CTX_get0_privatekey(empty.get()) == nullptr && record->ref_count == 1);
}

TEST(BridgeMethod, FinishComparesTheCountBefore) {
    FakeBridge fake;
    for (const int32_t first : {-1, 0, 1, 2}) {
        for (const uint32_t keySpec : {ncryptKeySpec, 2U, 0U}) { // 0: not to be released
            const Loaded loaded;
            loaded.record->key_spec = keySpec;
            fake.signer.keysHeld = (loaded.record->free_key = keySpec != 0) ? 1 : 0;
            loaded.record->ref_count = first;
            fake.signer.takeCalls();
            const Lines released = keySpec == 0 ? Lines() : Lines{keySpec == 2 ? "releaseProvider 7" : "freeCngKey 7"};
            for (int32_t before = first; before > first - 3; --before) {
                EXPECT_EQ(Helper::qx_finish(loaded.key), 1);
                EXPECT_EQ(loaded.record->ref_count, before - 1);
                EXPECT_EQ(loaded.record->cert_context == nullptr, before < 1);
                EXPECT_EQ(fake.platform->contextsHeld, before < 1 ? 0 : 1);
                EXPECT_EQ(fake.signer.takeCalls(), before == std::min(first, 0) ? released : Lines());
            }
        }
    }
    Helper::QX_CRYPTO_DATA_free(nullptr);
}

/** A record of the host's own, which no key keeps. */
TEST(BridgeMethod, KeysOfOneRecordEndOnManyThreads) {
    FakeBridge fake;
    auto* const record = new Data{fake.platform->context({}), 7, 1, true, 0, nullptr, {}};
    fake.signer.keysHeld = 1;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        Owned<SSL_CTX> made(SSL_CTX_new(TLS_method()));
        EXPECT_EQ(Helper::qx_set_rsa_key_in_ssl_ctx(made.get(), record, keyOf("RSA-2048")), 1);
        threads.emplace_back([context = std::move(made)]() mutable { context.reset(); });
    }
    std::for_each(threads.begin(), threads.end(), [](auto& thread) { thread.join(); });
    EXPECT_TRUE(record->ref_count == 0 && fake.signer.keysHeld == 1);
    Helper::QX_CRYPTO_DATA_free(record);
    EXPECT_EQ(fake.signer.takeCalls(), Lines{"releaseProvider 7"});
}

} // namespace
