#include "libwincertstore/windows/WindowsSigning.h"

// clang-format off: the others need it
#include <windows.h>
// clang-format on
#include <ncrypt.h>

#include "libwincertstore/DigestInfo.h"
#include "libwincertstore/windows/LastError.h"

namespace CmnCrypto::WinCertStore {

namespace {

/** @return the algorithm's name in CNG, null where it has none */
const wchar_t* nameOf(SignedDigest algorithm) noexcept {
    switch (algorithm) {
    case SignedDigest::sha1:
        return BCRYPT_SHA1_ALGORITHM;
    case SignedDigest::sha256:
        return BCRYPT_SHA256_ALGORITHM;
    case SignedDigest::sha384:
        return BCRYPT_SHA384_ALGORITHM;
    case SignedDigest::sha512:
        return BCRYPT_SHA512_ALGORITHM;
    case SignedDigest::sha224:
    case SignedDigest::none:
        break;
    }
    return nullptr;
}

} // namespace

uint32_t WindowsSigning::signCng(uintptr_t key, bool pkcs1, const unsigned char* data, uint32_t length,
                                 unsigned char* signature, uint32_t size, uint32_t& produced) {
    const DigestInfo info = pkcs1 ? takeApart(data, length) : DigestInfo{};
    // Without a name the provider pads what it gets: then it has to be the whole.
    BCRYPT_PKCS1_PADDING_INFO padding = {nameOf(info.algorithm)};
    const bool bare = padding.pszAlgId != nullptr;
    auto* const input = const_cast<PBYTE>(bare ? info.digest : data); // NOLINT: it is only read
    DWORD written = 0;
    const SECURITY_STATUS status = ::NCryptSignHash(key, pkcs1 ? &padding : nullptr, input, bare ? info.length : length,
                                                    signature, size, &written, pkcs1 ? BCRYPT_PAD_PKCS1 : 0);
    produced = status == ERROR_SUCCESS ? written : 0;
    return static_cast<uint32_t>(status);
}

void WindowsSigning::freeCngKey(uintptr_t key) {
    ::NCryptFreeObject(key);
}

uint32_t WindowsSigning::createHash(uintptr_t provider, uintptr_t& hash) {
    HCRYPTHASH made = 0;
    const uint32_t error = errorOf(::CryptCreateHash(provider, CALG_SSL3_SHAMD5, 0, 0, &made));
    hash = made;
    return error;
}

uint32_t WindowsSigning::hashSize(uintptr_t hash, uint32_t& size) {
    DWORD value = 0;
    DWORD length = sizeof value;
    const uint32_t error = errorOf(::CryptGetHashParam(hash, HP_HASHSIZE, reinterpret_cast<BYTE*>(&value), &length, 0));
    size = value;
    return error;
}

uint32_t WindowsSigning::setHashValue(uintptr_t hash, const unsigned char* value) {
    return errorOf(::CryptSetHashParam(hash, HP_HASHVAL, value, 0));
}

uint32_t WindowsSigning::signHash(uintptr_t hash, uint32_t keySpec, unsigned char* signature, uint32_t& length) {
    DWORD size = length;
    const uint32_t error = errorOf(::CryptSignHashA(hash, keySpec, nullptr, 0, signature, &size));
    length = size;
    return error;
}

void WindowsSigning::destroyHash(uintptr_t hash) {
    ::CryptDestroyHash(hash);
}

void WindowsSigning::releaseProvider(uintptr_t provider) {
    ::CryptReleaseContext(provider, 0);
}

} // namespace CmnCrypto::WinCertStore
