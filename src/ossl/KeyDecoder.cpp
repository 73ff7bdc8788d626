#include "ossl/KeyDecoder.h"

#include "ossl/ErrorQueue.h"

namespace CmnCrypto::ossl {

OpenSslPtr<EVP_PKEY> decodeRsaKey(KeyForm form, const unsigned char* der, size_t length) noexcept {
    PerThread* const own = perThread();
    if (own == nullptr) {
        return nullptr;
    }
    KeptDecoder& decoder = own->decoders[static_cast<size_t>(form)];
    if (!decoder.context) {
        const char* structure = form == KeyForm::pkcs8 ? "PrivateKeyInfo" : "type-specific";
        decoder.context.reset(
            OSSL_DECODER_CTX_new_for_pkey(&decoder.made, "DER", structure, "RSA", EVP_PKEY_KEYPAIR, nullptr, nullptr));
    }
    decoder.made = nullptr;
    const bool decoded =
        decoder.context && OSSL_DECODER_from_data(decoder.context.get(), &der, &length) == 1 && length == 0;
    OpenSslPtr<EVP_PKEY> key(decoder.made);
    decoder.made = nullptr;
    if (!decoded) {
        clearErrors();
        key.reset();
    }
    return key;
}

} // namespace CmnCrypto::ossl
