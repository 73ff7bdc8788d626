#include "cmncrypto/KSCrypt.h"

#include "encryption/CrypterStatus.h"

namespace CmnCrypto::Encryption {

namespace {

struct TypeRow {
    KSCrypt::CryptType type;
    const char* name;
    size_t keyLength;
    size_t ivLength; // what the caller gives; AES_256_GCM carries its own in the stream
    bool aad;
};

constexpr TypeRow types[] = {
    {KSCrypt::CRYPT_NONE, "CRYPT_NONE", 0, 0, false},
    {KSCrypt::AES_256_CBC, "AES_256_CBC", 32, 16, false},
    {KSCrypt::AES_192_CBC, "AES_192_CBC", 24, 16, false},
    {KSCrypt::AES_128_CBC, "AES_128_CBC", 16, 16, false},
    {KSCrypt::AES_256_CBC_EVP, "AES_256_CBC_EVP", 32, 16, false},
    {KSCrypt::AES_256_GCM, "AES_256_GCM", 32, 0, true},
};

const TypeRow* find(KSCrypt::CryptType type) {
    for (const TypeRow& row : types) {
        if (row.type == type) {
            return &row;
        }
    }
    return nullptr;
}

const TypeRow& findOrThrow(KSCrypt::CryptType type, const char* function) {
    const TypeRow* row = find(type);
    if (row == nullptr) {
        throwStatus(function, statusInvalidType);
    }
    return *row;
}

} // namespace

KSCrypt::~KSCrypt() = default;

int KSCrypt::add_authenticated_data_encrypt(const unsigned char* /*data*/, size_t /*length*/) {
    return statusRefused;
}

int KSCrypt::add_authenticated_data_decrypt(const unsigned char* /*data*/, size_t /*length*/) {
    return statusRefused;
}

std::string KSCrypt::cryptTypeToString(CryptType type) {
    const TypeRow* row = find(type);
    return row != nullptr ? row->name : "CRYPT_INVALID";
}

KSCrypt::CryptType KSCrypt::stringToCryptType(const std::string& name) {
    for (const TypeRow& row : types) {
        if (name == row.name) {
            return row.type;
        }
    }
    return CRYPT_INVALID;
}

size_t KSCrypt::cryptTypeToKeyLen(CryptType type) {
    return findOrThrow(type, "KSCrypt::cryptTypeToKeyLen").keyLength;
}

size_t KSCrypt::cryptTypeToIVLen(CryptType type) {
    return findOrThrow(type, "KSCrypt::cryptTypeToIVLen").ivLength;
}

bool KSCrypt::cryptTypeSupportsAAD(CryptType type) {
    return findOrThrow(type, "KSCrypt::cryptTypeSupportsAAD").aad;
}

} // namespace CmnCrypto::Encryption
