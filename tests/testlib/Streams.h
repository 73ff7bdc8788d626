#ifndef CMNCRYPTO_TESTLIB_STREAMS_H
#define CMNCRYPTO_TESTLIB_STREAMS_H

#include <memory>
#include <string>

#include "cmncrypto/CryptFactory.h"
#include "testlib/Bytes.h"

namespace testlib {

using CmnCrypto::Encryption::KSCrypt;

/** One direction of a crypter, so that a test is written once for both. */
struct Side {
    KSCrypt& crypter;
    bool encrypting;

    int aad(const std::string& data) const {
        return encrypting ? crypter.add_authenticated_data_encrypt(bytes(data), data.size())
                          : crypter.add_authenticated_data_decrypt(bytes(data), data.size());
    }
    int put(const unsigned char* data, size_t length, bool final) const {
        return encrypting ? crypter.encrypt(data, length, final) : crypter.decrypt(data, length, final);
    }
    int put(const std::string& data, bool final) const { return put(bytes(data), data.size(), final); }
    int get(const unsigned char** data, size_t* length) const {
        return encrypting ? crypter.getEncryptedData(data, length) : crypter.getDecryptedData(data, length);
    }
    int reset() const { return encrypting ? crypter.encryptReset() : crypter.decryptReset(); }
    std::string output() const; ///< what get() hands out; its status must be 0
};

struct Outcome {
    int status;
    std::string output;
};

/** Sends a whole stream through in pieces (0: all at once), taking the output after each. */
Outcome run(const Side& side, const std::string& data, size_t piece = 0, const std::string& aad = "");

/** What each type needs, and what its streams look like by OpenSSL. */
struct Kind {
    KSCrypt::CryptType type;
    std::string key;
    std::string iv;    ///< given to the factory
    size_t ivInStream; ///< bytes of IV that lead the stream
    bool authenticated;

    std::unique_ptr<KSCrypt> make() const {
        return std::unique_ptr<KSCrypt>(CmnCrypto::Encryption::CryptFactory::createCrypter(type, key, iv));
    }
    /** @param streamIv the leading IV; not used where the stream has none */
    std::string expectedStream(const std::string& streamIv, const std::string& data, const std::string& aad = "") const;
};

/** @param type 1 to 6 */
Kind kindOf(int type);

} // namespace testlib

#endif
