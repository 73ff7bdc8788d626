#include "cmncrypto/NullCrypter.h"

#include "encryption/CrypterOutput.h"
#include "encryption/CrypterStatus.h"
#include "frame/Logging.h"

namespace CmnCrypto::Encryption {

namespace {

/** One direction: what goes in comes out. */
class NullSide {
public:
    int reset() {
        m_output.reset();
        m_output.bytes.keepSecret(); // plaintext, whatever the direction
        m_error = statusDone;
        m_finished = false;
        return statusDone;
    }

    int feed(const char* function, const unsigned char* data, size_t length, bool final) {
        if (m_error != statusDone) {
            return statusFailed;
        }
        if (m_finished || (data == nullptr && length != 0)) {
            return statusRefused;
        }
        m_output.begin();
        if (!m_output.bytes.append(data, length)) {
            m_error = statusFailed;
            logWithLine(function, "Failed to allocate memory for the output", __LINE__);
            return statusRefused;
        }
        m_finished = final;
        return statusDone;
    }

    int handOut(const unsigned char** data, size_t* length) { return m_output.handOut(m_error, data, length); }

private:
    CrypterOutput m_output;
    int m_error = statusDone;
    bool m_finished = false;
};

} // namespace

class NullCrypter::Impl {
public:
    Impl() {
        encryption.reset();
        decryption.reset();
    }

    NullSide encryption;
    NullSide decryption;
};

NullCrypter::NullCrypter() : m_impl(std::make_unique<Impl>()) {}
NullCrypter::~NullCrypter() = default;

int NullCrypter::encrypt(const unsigned char* data, size_t length, bool final) {
    return m_impl->encryption.feed("NullCrypter::encrypt", data, length, final);
}

int NullCrypter::getEncryptedData(const unsigned char** data, size_t* length) {
    return m_impl->encryption.handOut(data, length);
}

int NullCrypter::decrypt(const unsigned char* data, size_t length, bool final) {
    return m_impl->decryption.feed("NullCrypter::decrypt", data, length, final);
}

int NullCrypter::getDecryptedData(const unsigned char** data, size_t* length) {
    return m_impl->decryption.handOut(data, length);
}

int NullCrypter::reset() {
    const int encryption = encryptReset();
    return bothReset(encryption, decryptReset());
}

int NullCrypter::encryptReset() {
    return m_impl->encryption.reset();
}

int NullCrypter::decryptReset() {
    return m_impl->decryption.reset();
}

} // namespace CmnCrypto::Encryption
