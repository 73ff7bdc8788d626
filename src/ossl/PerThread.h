#ifndef CMNCRYPTO_OSSL_PERTHREAD_H
#define CMNCRYPTO_OSSL_PERTHREAD_H

#include <array>
#include <cstdint>

#include "ossl/Algorithms.h"
#include "ossl/OpenSsl.h"

namespace CmnCrypto::ossl {

/** A decoder that is kept, as setting one up costs twenty times what it does, and where it leaves its key. */
struct KeptDecoder {
    OpenSslPtr<OSSL_DECODER_CTX> context;
    EVP_PKEY* made = nullptr; ///< the decoder holds this member's address
};

/** The two armours of a plain RSA private key. */
enum class KeyForm { pkcs8, pkcs1, count };

/** What one thread keeps; per thread, so that nothing here needs a lock. */
struct PerThread {
    std::uint64_t generation = 0;
    std::array<OpenSslPtr<EVP_MD>, static_cast<size_t>(Digest::count)> digests;
    std::array<OpenSslPtr<EVP_CIPHER>, static_cast<size_t>(Cipher::count)> ciphers;
    std::array<KeptDecoder, static_cast<size_t>(KeyForm::count)> decoders;
    OpenSslPtr<EVP_MD_CTX> scratch;
};

/** @return what the calling thread keeps, up to date; null when memory is short or the thread is ending */
PerThread* perThread() noexcept;

/** @return a number that every FIPS switch raises: what was kept under another one is out of date */
std::uint64_t algorithmGeneration() noexcept;

/** Makes every thread fetch anew: what was fetched before a FIPS switch would go on working after it. */
void forgetAlgorithms() noexcept;

} // namespace CmnCrypto::ossl

#endif
