#include "cmncrypto/PrivateKeyUtils.h"

#include <cstring>

#include "frame/Failure.h"
#include "x509/PemBlock.h"
#include "x509/PemFile.h"

namespace CmnCrypto {

int PrivateKeyUtils::is_private_key_file_encrypted(const std::string& path, cmncrypto_cert_log_cb logger,
                                                   int* encrypted) {
    const PemFileLog log("PrivateKeyUtils::is_private_key_file_encrypted", path, logger);
    return onPemFile(log, encrypted, [&](BIO* pem) {
        PemBlock block;
        if (!block.readPrivateKey(pem)) {
            return log.failure(codeReadFailed, "Failed to find a private key");
        }
        const bool traditional = block.hasHeader() && std::strstr(block.header(), "ENCRYPTED") != nullptr;
        *encrypted = traditional || block.name() == pemEncryptedKey ? 1 : 0;
        return 0;
    });
}

} // namespace CmnCrypto
