#include "cmncrypto/CryptFactory.h"

#include "cmncrypto/EVPCrypter.h"
#include "cmncrypto/GCMCrypter.h"
#include "cmncrypto/MangleCrypter.h"
#include "cmncrypto/NullCrypter.h"
#include "encryption/CrypterStatus.h"
#include "frame/Logging.h"

namespace CmnCrypto::Encryption {

KSCrypt* CryptFactory::createCrypter(KSCrypt::CryptType type, const std::string& key, const std::string& iv) {
    constexpr const char* function = "CryptFactory::createCrypter";
    clogmsg(logTrace, function, "Creating a crypter of type %d", type);
    switch (type) {
    case KSCrypt::CRYPT_NONE:
        return new NullCrypter;
    case KSCrypt::AES_256_CBC:
        return new MangleCrypter(3, key);
    case KSCrypt::AES_192_CBC:
        return new MangleCrypter(2, key);
    case KSCrypt::AES_128_CBC:
        return new MangleCrypter(1, key);
    case KSCrypt::AES_256_CBC_EVP:
        return new EVPCrypter(EVP_CRYPT_AES_256_CBC, key, iv);
    case KSCrypt::AES_256_GCM:
        return new GCMCrypter(key);
    default:
        throwStatus(function, statusFailed);
    }
}

} // namespace CmnCrypto::Encryption
