#include "testlib/Oracle.h"

#include <memory>
#include <stdexcept>

#include <openssl/err.h>
#include <openssl/evp.h>

#include "testlib/Bytes.h"

namespace testlib::oracle {

namespace {

using Context = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

void require(bool worked) {
    if (!worked) {
        throw std::runtime_error("OpenSSL, called directly, failed");
    }
}

unsigned char* writable(std::string& text) {
    return reinterpret_cast<unsigned char*>(text.data());
}

} // namespace

std::string digest(_HASH_ALGO algorithm, const std::string& data) {
    const EVP_MD* digests[] = {nullptr, EVP_sha256(), EVP_sha512(), EVP_sha1(), EVP_md5()};
    std::string out(EVP_MAX_MD_SIZE, '\0');
    unsigned int length = 0;
    require(EVP_Digest(data.data(), data.size(), writable(out), &length, digests[algorithm], nullptr) == 1);
    return out.substr(0, length);
}

std::optional<std::string> cbc(bool encrypt, const std::string& key, const std::string& iv, const std::string& data,
                               bool padding) {
    const EVP_CIPHER* cipher = EVP_get_cipherbyname(("AES-" + std::to_string(8 * key.size()) + "-CBC").c_str());
    const Context context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    require(EVP_CipherInit_ex(context.get(), cipher, nullptr, bytes(key), bytes(iv), encrypt ? 1 : 0) == 1);
    EVP_CIPHER_CTX_set_padding(context.get(), padding ? 1 : 0);
    std::string out(data.size() + 32, '\0');
    int length = 0;
    int last = 0;
    require(EVP_CipherUpdate(context.get(), writable(out), &length, bytes(data), static_cast<int>(data.size())) == 1);
    if (EVP_CipherFinal_ex(context.get(), writable(out) + length, &last) != 1) {
        ERR_clear_error();
        return std::nullopt;
    }
    return out.substr(0, static_cast<size_t>(length + last));
}

std::string gcmEncrypt(const std::string& key, const std::string& iv, const std::string& aad, const std::string& data) {
    const Context context(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    require(EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, bytes(key), bytes(iv)) == 1);
    std::string out(data.size() + 16, '\0');
    int length = 0;
    require(EVP_EncryptUpdate(context.get(), nullptr, &length, bytes(aad), static_cast<int>(aad.size())) == 1);
    require(EVP_EncryptUpdate(context.get(), writable(out), &length, bytes(data), static_cast<int>(data.size())) == 1);
    require(EVP_EncryptFinal_ex(context.get(), writable(out) + length, &length) == 1);
    require(EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_AEAD_GET_TAG, 16, writable(out) + data.size()) == 1);
    return out;
}

} // namespace testlib::oracle
