#include "PassPhraseHeader.h"

#include <algorithm>
#include <cstring>

#include <openssl/evp.h>

#include "Failure.h"
#include "cmncrypto/CmnApi.h"
#include "cmncrypto/RandomNumberGenerator.h"

namespace CmnCrypto::Cli {

namespace {

constexpr char magic[] = "CMNCPW01";
static_assert(sizeof magic - 1 == PassPhraseHeader::magicLength);

} // namespace

PassPhraseHeader PassPhraseHeader::create() {
    PassPhraseHeader header;
    RandomNumberGenerator::generateRandomBytes(header.m_salt.data(), static_cast<int>(saltLength));
    return header;
}

bool PassPhraseHeader::isAtStartOf(const unsigned char* data, size_t size) noexcept {
    return size >= magicLength && std::memcmp(data, magic, magicLength) == 0;
}

PassPhraseHeader PassPhraseHeader::read(InputFile& input) {
    std::array<unsigned char, length> bytes = {};
    const size_t count = input.read(bytes.data(), bytes.size());
    if (!isAtStartOf(bytes.data(), count)) {
        throw Failure(ExitCode::streamRefused, input.name() + ": was not made with a pass phrase (no " + magic +
                                                   " at its start); use --key-file");
    }
    if (count < length) {
        throw Failure(ExitCode::streamRefused, input.name() + ": the stream is cut short within its header");
    }
    PassPhraseHeader header;
    header.m_iterations = 0;
    for (size_t i = magicLength; i < magicLength + 4; ++i) {
        header.m_iterations = header.m_iterations << 8 | bytes[i];
    }
    if (header.m_iterations < minimalIterations || header.m_iterations > maximalIterations) {
        throw Failure(ExitCode::streamRefused, input.name() + ": its header asks for " +
                                                   std::to_string(header.m_iterations) + " iterations; " +
                                                   std::to_string(minimalIterations) + " to " +
                                                   std::to_string(maximalIterations) + " are accepted");
    }
    std::copy(bytes.begin() + magicLength + 4, bytes.end(), header.m_salt.begin());
    return header;
}

std::string PassPhraseHeader::toBytes() const {
    std::string bytes = magic;
    for (const int shift : {24, 16, 8, 0}) {
        bytes.push_back(static_cast<char>(m_iterations >> shift & 0xffU));
    }
    return bytes.append(m_salt.begin(), m_salt.end());
}

Secret PassPhraseHeader::derive(const Secret& passPhrase, size_t size) const {
    Secret derived(size);
    const std::string& phrase = passPhrase.text();
    if (PKCS5_PBKDF2_HMAC(phrase.data(), static_cast<int>(phrase.size()), m_salt.data(), static_cast<int>(saltLength),
                          static_cast<int>(m_iterations), EVP_sha256(), static_cast<int>(size), derived.bytes()) != 1) {
        throw Failure(ExitCode::internal, "key derivation: OpenSSL failed: " + getAndClearSslErrStack());
    }
    return derived;
}

} // namespace CmnCrypto::Cli
