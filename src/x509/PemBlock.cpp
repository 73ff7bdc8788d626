#include "x509/PemBlock.h"

namespace CmnCrypto {

bool PemBlock::read(BIO* bio) {
    release();
    return PEM_read_bio(bio, &m_name, &m_header, &m_data, &m_length) == 1;
}

bool PemBlock::readPrivateKey(BIO* bio) {
    while (read(bio)) {
        for (const std::string_view kind :
             {pemPlainKey, pemEncryptedKey, pemRsaKey, std::string_view(PEM_STRING_ECPRIVATEKEY),
              std::string_view(PEM_STRING_DSA)}) {
            if (name() == kind) {
                return true;
            }
        }
    }
    return false;
}

void PemBlock::release() noexcept {
    OPENSSL_free(m_name);
    OPENSSL_free(m_header);
    OPENSSL_clear_free(m_data, static_cast<size_t>(m_length));
    m_name = nullptr;
    m_header = nullptr;
    m_data = nullptr;
    m_length = 0;
}

} // namespace CmnCrypto
