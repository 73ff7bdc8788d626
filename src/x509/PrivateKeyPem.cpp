#include "x509/PrivateKeyPem.h"

#include "frame/FipsMode.h"
#include "ossl/ErrorQueue.h"
#include "ossl/KeyDecoder.h"
#include "ossl/LegacyContext.h"
#include "x509/OldKeyFormat.h"
#include "x509/PemBlock.h"

namespace CmnCrypto {

namespace {

/** The code of OpenSSL 1.0 for an algorithm that FIPS mode refuses; hosts may still link an engine that queues it. */
constexpr unsigned long disabledForFips = 0x060A80A3;

/** The first block of a text, if it is a plain RSA key. */
OpenSslPtr<EVP_PKEY> readPlainRsa(BIO* text) {
    PemBlock block;
    if (!block.read(text) || block.hasHeader()) {
        return nullptr;
    }
    if (block.name() != pemPlainKey && block.name() != pemRsaKey) {
        return nullptr;
    }
    const auto form = block.name() == pemPlainKey ? ossl::KeyForm::pkcs8 : ossl::KeyForm::pkcs1;
    return ossl::decodeRsaKey(form, block.data(), static_cast<size_t>(block.length()));
}

} // namespace

ReadKey readPrivateKeyPem(BIO* text, PassPhrase& passPhrase, const std::function<void(const char*)>& tell) {
    ReadKey result;
    result.key = readPlainRsa(text);
    if (result.key) {
        return result;
    }
    ossl::clearErrors();
    BIO_reset(text);
    result.key.reset(PEM_read_bio_PrivateKey(text, nullptr, PassPhrase::ask, &passPhrase));
    if (result.key) {
        return result;
    }
    const bool missing = ossl::isAlgorithmMissing();
    const bool fips = fips::FIPS_mode() != 0;
    result.fipsRefused = ERR_peek_last_error() == disabledForFips || (fips && missing);
    BIO_reset(text);
    PemBlock block;
    ERR_set_mark();
    const bool found = block.readPrivateKey(text);
    const bool old = found && isOldEncryption(block);
    ERR_pop_to_mark(); // what is told is why the plain way failed
    if (fips) {
        result.fipsRefused = result.fipsRefused || old;
    } else if (old && block.hasHeader()) {
        result.key = openOldTraditional(block, passPhrase, tell);
    } else if (found && missing && block.name() == pemEncryptedKey) {
        result.key = openOldPkcs8(block, passPhrase, tell);
    }
    return result;
}

} // namespace CmnCrypto
