#include "OpenSslTls.h"

#include <openssl/err.h>

#include "KeyDescription.h"
#include "SystemText.h"

namespace CmnCrypto::Cli {

namespace {

/** The group, or the key that was made for this connection. */
std::string groupOf(SSL* ssl) {
    const auto group = static_cast<int>(SSL_get_negotiated_group(ssl));
    if (group > 0) {
        const char* const name = group < TLSEXT_nid_unknown ? OBJ_nid2sn(group) : nullptr;
        return name == nullptr ? "number " + std::to_string(group & 0xffff) : name;
    }
    EVP_PKEY* key = nullptr;
    if ((SSL_is_server(ssl) == 1 ? SSL_get_tmp_key(ssl, &key) : SSL_get_peer_tmp_key(ssl, &key)) != 1) {
        return SSL_CIPHER_get_kx_nid(SSL_get_current_cipher(ssl)) == NID_kx_dhe ? "DH" : "";
    }
    const OwnedKey owner(key);
    return KeyDescription(key).text();
}

/** Of the server, who signs whatever the client does. */
std::string signatureOf(SSL* ssl) {
    const bool own = SSL_is_server(ssl) == 1;
    int type = NID_undef;
    int digest = NID_undef;
    if ((own ? SSL_get_signature_type_nid(ssl, &type) : SSL_get_peer_signature_type_nid(ssl, &type)) != 1) {
        return "";
    }
    const bool hashed = (own ? SSL_get_signature_nid(ssl, &digest) : SSL_get_peer_signature_nid(ssl, &digest)) == 1 &&
                        digest != NID_undef;
    const std::string kind = type == NID_rsaEncryption          ? "RSA"
                             : type == NID_rsassaPss            ? "RSA-PSS"
                             : type == NID_X9_62_id_ecPublicKey ? "ECDSA"
                                                                : OBJ_nid2sn(type);
    return kind + (hashed ? std::string("+") + OBJ_nid2sn(digest) : "");
}

Json namedOrNull(const std::string& text) {
    return text.empty() ? Json() : Json(text);
}

} // namespace

void addNegotiated(SSL* ssl, Details& details) {
    details.add("Protocol", "protocol", SSL_get_version(ssl));
    details.add("Cipher suite", "cipher", SSL_get_cipher_name(ssl));
    details.add("Key exchange group", "group", namedOrNull(groupOf(ssl)));
    details.add("Signature", "signature", namedOrNull(signatureOf(ssl)));
    ERR_clear_error();
}

std::string firstSslReason() {
    const unsigned long error = ERR_peek_error();
    if (error == 0) {
        return "";
    }
    if (ERR_SYSTEM_ERROR(error)) {
        return systemText(ERR_GET_REASON(error));
    }
    const char* const reason = ERR_reason_error_string(error);
    return reason == nullptr ? "error " + std::to_string(error) : reason;
}

} // namespace CmnCrypto::Cli
