#ifndef CMNCRYPTO_TESTLIB_ORACLE_H
#define CMNCRYPTO_TESTLIB_ORACLE_H

#include <optional>
#include <string>

#include "cmncrypto/types.h"

/** What the library must agree with: OpenSSL called directly, each time in one piece. */
namespace testlib::oracle {

std::string digest(_HASH_ALGO algorithm, const std::string& data);

/** AES-CBC with the key's length; nothing when decryption fails. */
std::optional<std::string> cbc(bool encrypt, const std::string& key, const std::string& iv, const std::string& data,
                               bool padding = true);

/** AES-256-GCM. @return ciphertext and tag */
std::string gcmEncrypt(const std::string& key, const std::string& iv, const std::string& aad, const std::string& data);

} // namespace testlib::oracle

#endif
