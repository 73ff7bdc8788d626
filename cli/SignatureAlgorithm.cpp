#include "SignatureAlgorithm.h"

#include <array>

#include <openssl/err.h>
#include <openssl/rsa.h>

#include "OpenSslOwner.h"

namespace CmnCrypto::Cli {

namespace {

/** RFC 4055, 3.1: the digest is a parameter, SHA-1 where it is left out. */
int digestOfPss(const X509_ALGOR* algorithm) {
    const Owned<RSA_PSS_PARAMS, RSA_PSS_PARAMS_free> parameters(
        static_cast<RSA_PSS_PARAMS*>(ASN1_TYPE_unpack_sequence(ASN1_ITEM_rptr(RSA_PSS_PARAMS), algorithm->parameter)));
    ERR_clear_error();
    if (!parameters) {
        return NID_undef;
    }
    return parameters->hashAlgorithm == nullptr ? NID_sha1 : OBJ_obj2nid(parameters->hashAlgorithm->algorithm);
}

} // namespace

SignatureAlgorithm::SignatureAlgorithm(const X509_ALGOR* algorithm) : digest(NID_undef) {
    std::array<char, 128> buffer = {};
    name = OBJ_obj2txt(buffer.data(), buffer.size(), algorithm->algorithm, 0) > 0 ? buffer.data() : "unreadable";
    text = name;
    const int kind = OBJ_obj2nid(algorithm->algorithm);
    if (kind == NID_rsassaPss) {
        digest = digestOfPss(algorithm);
        text += digest == NID_undef ? "" : std::string(" with ") + OBJ_nid2sn(digest);
    } else {
        OBJ_find_sigid_algs(kind, &digest, nullptr);
    }
    ERR_clear_error();
}

bool SignatureAlgorithm::isBroken() const noexcept {
    return digest == NID_md2 || digest == NID_md4 || digest == NID_md5;
}

bool SignatureAlgorithm::isWeak() const noexcept {
    return digest == NID_sha1;
}

} // namespace CmnCrypto::Cli
