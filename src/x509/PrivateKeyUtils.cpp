#include "cmncrypto/PrivateKeyUtils.h"

#include <cstring>

#include "cmncrypto/CmnApi.h"
#include "frame/Failure.h"
#include "ossl/ErrorQueue.h"
#include "x509/FactoryLog.h"
#include "x509/PemBlock.h"

namespace CmnCrypto {

int PrivateKeyUtils::is_private_key_file_encrypted(const std::string& path, cmncrypto_cert_log_cb logger,
                                                   int* encrypted) {
    const FactoryLog log("PrivateKeyUtils::is_private_key_file_encrypted", path, logger);
    if (encrypted == nullptr) {
        return log.failure(codeInvalidArgument, "Invalid argument");
    }
    CmnApi::initOpenssl();
    const ossl::ErrorScope errors;
    OpenSslPtr<BIO> pem;
    FileContents contents;
    if (const int result = log.open(contents, pem); result != 0) {
        return result;
    }
    PemBlock block;
    if (!block.readPrivateKey(pem.get())) {
        return log.failure(codeReadFailed, "Failed to find a private key");
    }
    const bool traditional = block.hasHeader() && std::strstr(block.header(), "ENCRYPTED") != nullptr;
    *encrypted = traditional || block.name() == pemEncryptedKey ? 1 : 0;
    return 0;
}

} // namespace CmnCrypto
