#include "KeyDescription.h"

#include <array>

#include <openssl/evp.h>
#include <openssl/x509.h>

#include "Failure.h"
#include "OpenSslOwner.h"
#include "cmncrypto/CmnApi.h"
#include "cmncrypto/HashGenerator.h"

namespace CmnCrypto::Cli {

namespace {

/** What NIST SP 800-57 asks for until 2030: RSA with 2048 bits, curves of 224. */
constexpr int leastSecurityBits = 112;

std::string publicKeyInfo(const EVP_PKEY* key) {
    unsigned char* der = nullptr;
    const int length = i2d_PUBKEY(key, &der);
    if (length <= 0) {
        throw Failure(ExitCode::internal, "public key: cannot be encoded: " + getAndClearSslErrStack());
    }
    std::string info(reinterpret_cast<const char*>(der), static_cast<size_t>(length));
    OPENSSL_free(der);
    return info;
}

std::string curveOf(const EVP_PKEY* key) {
    std::array<char, 80> name = {};
    const bool named =
        EVP_PKEY_is_a(key, "EC") == 1 && EVP_PKEY_get_group_name(key, name.data(), name.size(), nullptr) == 1;
    return named ? name.data() : "";
}

} // namespace

KeyDescription::KeyDescription(const EVP_PKEY* key)
    : kind(EVP_PKEY_get0_type_name(key) == nullptr ? "unknown" : EVP_PKEY_get0_type_name(key)), curve(curveOf(key)),
      bits(EVP_PKEY_get_bits(key)), weak(EVP_PKEY_get_security_bits(key) < leastSecurityBits) {
    const std::string info = publicKeyInfo(key);
    std::string digest;
    HashGenerator generator(HASH_ALGO_SHA256);
    generator.addData(info.data(), info.size());
    generator.generateBinaryHash(digest);
    sha256 = CmnApi::binToHex(digest);
    pin = "sha256//" +
          CmnApi::B64Encode(reinterpret_cast<const unsigned char*>(digest.data()), static_cast<int>(digest.size()));
}

std::string KeyDescription::text() const {
    return kind + (curve.empty() ? "" : " (" + curve + ")") + ", " + std::to_string(bits) + " bits";
}

void KeyDescription::addTo(Details& details) const {
    details.add("Key", "", text());
    details.add("", "kind", kind);
    details.add("", "curve", curve.empty() ? Json() : Json(curve));
    details.add("", "bits", bits);
    details.add("Public key SHA-256", "publicKeySha256", sha256);
    details.add("Public key pin", "publicKeyPin", pin);
    if (weak) {
        details.problem("weak key: " + text() + "; use at least 2048 bits of RSA or a curve of 256 bits");
    }
}

} // namespace CmnCrypto::Cli
