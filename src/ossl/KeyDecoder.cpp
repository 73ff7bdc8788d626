#include "ossl/KeyDecoder.h"

#include "ossl/ErrorQueue.h"

namespace CmnCrypto::ossl {

namespace {

/** Steps into or over a DER element. @return whether it has this tag and is whole */
bool take(const unsigned char*& at, const unsigned char* end, int tag, bool over) {
    long size = 0;
    int found = 0;
    int kind = 0;
    const bool malformed = (ASN1_get_object(&at, &size, &found, &kind, static_cast<long>(end - at)) & 0x80) != 0;
    if (malformed || found != tag) {
        return false;
    }
    at += over ? size : 0;
    return true;
}

/** @return whether a key begins as PKCS#8 does: the decoder would take PKCS#1 in its place, which PEM forbids */
bool beginsAsPkcs8(const unsigned char* der, size_t length) {
    const unsigned char* const end = der + length;
    return take(der, end, V_ASN1_SEQUENCE, false) && take(der, end, V_ASN1_INTEGER, true) &&
           take(der, end, V_ASN1_SEQUENCE, false);
}

} // namespace

OpenSslPtr<EVP_PKEY> decodeRsaKey(KeyForm form, const unsigned char* der, size_t length) noexcept {
    PerThread* const own = perThread();
    if (own == nullptr || (form == KeyForm::pkcs8 && !beginsAsPkcs8(der, length))) {
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
