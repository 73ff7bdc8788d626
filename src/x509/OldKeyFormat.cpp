#include "x509/OldKeyFormat.h"

#include <string>

#include "ossl/LegacyContext.h"

namespace CmnCrypto {

namespace {

/** The pass phrase on the stack, wiped. */
struct Asked {
    explicit Asked(PassPhrase& passPhrase) : length(PassPhrase::ask(text, sizeof text, 0, &passPhrase)) {}
    ~Asked() { OPENSSL_cleanse(text, sizeof text); }
    Asked(const Asked&) = delete;
    Asked& operator=(const Asked&) = delete;

    const unsigned char* bytes() const noexcept { return reinterpret_cast<const unsigned char*>(text); }

    char text[PEM_BUFSIZE];
    int length; ///< negative when there is none
};

bool isUsable(const ossl::LegacyContext& context, const std::string& algorithm,
              const std::function<void(const char*)>& tell) {
    if (!context.isUsable()) {
        tell(("OpenSSL's legacy provider is not available, which " + algorithm + " needs").c_str());
    }
    return context.isUsable();
}

/** Decrypts a block in place. @return the length of the plaintext, negative when that fails */
long decrypt(PemBlock& block, const EVP_CIPHER* cipher, const unsigned char* iv, const Asked& pass) {
    unsigned char key[EVP_MAX_KEY_LENGTH];
    const OpenSslPtr<EVP_CIPHER_CTX> context(EVP_CIPHER_CTX_new());
    unsigned char* const data = block.data();
    int length = 0;
    int rest = 0;
    const bool decrypted =
        context && EVP_BytesToKey(cipher, EVP_md5(), iv, pass.bytes(), pass.length, 1, key, nullptr) > 0 &&
        EVP_DecryptInit_ex(context.get(), cipher, nullptr, key, iv) == 1 &&
        EVP_DecryptUpdate(context.get(), data, &length, data, static_cast<int>(block.length())) == 1 &&
        EVP_DecryptFinal_ex(context.get(), data + length, &rest) == 1;
    OPENSSL_cleanse(key, sizeof key);
    return decrypted ? length + rest : -1;
}

OpenSslPtr<X509_SIG> pkcs8Of(const PemBlock& block) {
    const unsigned char* der = block.data();
    return OpenSslPtr<X509_SIG>(d2i_X509_SIG(nullptr, &der, block.length()));
}

const X509_ALGOR& encryptionOf(const X509_SIG& encrypted) {
    const X509_ALGOR* algorithm = nullptr;
    X509_SIG_get0(&encrypted, &algorithm, nullptr);
    return *algorithm;
}

/** @return the number of the algorithm that a PKCS#8 key is encrypted with */
int algorithmOf(const X509_SIG& encrypted) {
    return OBJ_obj2nid(encryptionOf(encrypted).algorithm);
}

/** Whether the key of PBES2 (RFC 8018) is derived in the one way that is a FIPS one; scrypt is not. */
bool derivesByPbkdf2(const X509_SIG& encrypted) {
    const OpenSslPtr<PBE2PARAM> parameters(static_cast<PBE2PARAM*>(
        ASN1_TYPE_unpack_sequence(ASN1_ITEM_rptr(PBE2PARAM), encryptionOf(encrypted).parameter)));
    return parameters && OBJ_obj2nid(parameters->keyfunc->algorithm) == NID_id_pbkdf2;
}

} // namespace

bool isOldEncryption(const PemBlock& block) {
    if (block.name() != pemEncryptedKey) {
        return block.hasHeader();
    }
    const OpenSslPtr<X509_SIG> encrypted = pkcs8Of(block);
    return encrypted && (algorithmOf(*encrypted) != NID_pbes2 || !derivesByPbkdf2(*encrypted));
}

OpenSslPtr<EVP_PKEY> openOldTraditional(PemBlock& block, PassPhrase& passPhrase,
                                        const std::function<void(const char*)>& tell) {
    EVP_CIPHER_INFO header = {};
    if (PEM_get_EVP_CIPHER_INFO(block.header(), &header) != 1 || header.cipher == nullptr) {
        return nullptr;
    }
    const char* const name = EVP_CIPHER_get0_name(header.cipher);
    if (OpenSslPtr<EVP_CIPHER>(EVP_CIPHER_fetch(nullptr, name, nullptr))) {
        return nullptr; // it was not for the cipher that the key could not be read
    }
    const ossl::LegacyContext context;
    if (!isUsable(context, name, tell)) {
        return nullptr;
    }
    const OpenSslPtr<EVP_CIPHER> cipher(EVP_CIPHER_fetch(context.get(), name, nullptr));
    const Asked pass(passPhrase);
    const long length = cipher && pass.length >= 0 ? decrypt(block, cipher.get(), header.iv, pass) : -1;
    const unsigned char* der = block.data();
    return OpenSslPtr<EVP_PKEY>(length > 0 ? d2i_AutoPrivateKey(nullptr, &der, length) : nullptr);
}

OpenSslPtr<EVP_PKEY> openOldPkcs8(PemBlock& block, PassPhrase& passPhrase,
                                  const std::function<void(const char*)>& tell) {
    const OpenSslPtr<X509_SIG> encrypted = pkcs8Of(block);
    if (!encrypted) {
        return nullptr;
    }
    const int algorithm = algorithmOf(*encrypted);
    const std::string name = algorithm == NID_pbes2 ? ossl::missingAlgorithm() : OBJ_nid2ln(algorithm);
    const ossl::LegacyContext context;
    if (!isUsable(context, name, tell)) {
        return nullptr;
    }
    const Asked pass(passPhrase);
    const OpenSslPtr<PKCS8_PRIV_KEY_INFO> info(
        pass.length < 0 ? nullptr : PKCS8_decrypt_ex(encrypted.get(), pass.text, pass.length, context.get(), nullptr));
    return OpenSslPtr<EVP_PKEY>(info ? EVP_PKCS82PKEY(info.get()) : nullptr);
}

} // namespace CmnCrypto
